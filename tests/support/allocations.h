#ifndef VELORIX_TESTS_SUPPORT_ALLOCATIONS_H
#define VELORIX_TESTS_SUPPORT_ALLOCATIONS_H
// Counts and fails allocations (operator new, and the library's c_allocate and c_reallocate) in
// test programs that list support/allocations.cpp (${VELORIX_TEST_ALLOCATIONS} in CMake) among
// their sources.

namespace velorix_test {

/// Allocations of this process so far.
long allocation_count();

/// While it lives, the n-th allocation from now on (n = 1, 2, ...) and all later ones fail.
class FailingAllocations {
  public:
    explicit FailingAllocations(long n);
    ~FailingAllocations();
    FailingAllocations(const FailingAllocations&) = delete;
    FailingAllocations& operator=(const FailingAllocations&) = delete;
};

}  // namespace velorix_test
#endif
