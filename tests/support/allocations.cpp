#include "support/allocations.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <new>

#include "support/c_array.h"

namespace {

std::atomic<long> count{0};
std::atomic<long> first_to_fail{LONG_MAX};

bool fails() {
    if (++count < first_to_fail) return false;
    errno = ENOMEM;
    return true;
}

void* allocate(std::size_t size) { return fails() ? nullptr : std::malloc(size == 0 ? 1 : size); }

void* allocate_or_throw(std::size_t size) {
    if (void* block = allocate(size)) return block;
    throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t size) { return allocate_or_throw(size); }
void* operator new[](std::size_t size) { return allocate_or_throw(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { std::free(block); }

void* velorix::c_allocate(std::size_t size) {
    return fails() ? nullptr : std::calloc(size == 0 ? 1 : size, 1);
}
void* velorix::c_reallocate(void* block, std::size_t size) {
    return fails() ? nullptr : std::realloc(block, size);
}

namespace velorix_test {

long allocation_count() { return count; }

FailingAllocations::FailingAllocations(long n) { first_to_fail = count + n; }
FailingAllocations::~FailingAllocations() { first_to_fail = LONG_MAX; }

}  // namespace velorix_test
