// Grid heaps become usable records: files mapped privately, every block found and checked.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "platform/containers/owners.h"
#include "platform/elog/elog.h"
#include "platform/elog/guard.h"
#include "setupgrid/heap_check.h"
#include "setupgrid/owned_grid.h"
#include "support/c_array.h"

namespace velorix {
namespace {

struct CloseDescriptor {
    int descriptor;
    ~CloseDescriptor() {
        if (descriptor > STDERR_FILENO) close(descriptor);
    }
};
using Grids = std::unique_ptr<Tbl, EndContainer<velorix_release>>;
using GridPtr = Owned<OwnedGrid, velorix_free>;

/// Bytes of a file, mapped or read; released with the last grid that points into them.
class FileBytes : public Backing {
  public:
    FileBytes() = default;
    ~FileBytes() override {
        if (mapped_) {
            munmap(bytes_, size_);
        } else {
            std::free(bytes_);
        }
    }
    FileBytes(const FileBytes&) = delete;
    FileBytes& operator=(const FileBytes&) = delete;
    void hold(void* bytes, size_t size, bool mapped) {
        bytes_ = bytes;
        size_ = size;
        mapped_ = mapped;
    }
    char* bytes() const { return static_cast<char*>(bytes_); }
    size_t size() const { return size_; }

  private:
    void* bytes_ = nullptr;
    size_t size_ = 0;
    bool mapped_ = false;
};

/// Marks a record whose bytes stay the caller's.
class CallersBytes : public Backing {};

std::shared_ptr<FileBytes> map_file(int descriptor, size_t size, const char* path) {
    auto file = std::make_shared<FileBytes>();
    void* bytes =
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_NORESERVE, descriptor, 0);
    if (bytes == MAP_FAILED) {
        elog_log(1, "velorix_read_file: mmap(%s) error.\n", path);
        return nullptr;
    }
    file->hold(bytes, size, true);
    return file;
}

// What does not begin as a grid may be a device that never ends.
bool may_be_a_grid(const char* bytes, size_t size) {
    int32_t magic = VELORIX_MAGIC;
    if (size >= sizeof magic) std::memcpy(&magic, bytes, sizeof magic);
    return magic == VELORIX_MAGIC;
}

// Pipes and standard input cannot be mapped; they are read into memory.
std::shared_ptr<FileBytes> read_stream(int descriptor, const char* path) {
    auto file = std::make_shared<FileBytes>();
    size_t size = 0;
    size_t capacity = size_t{1} << 20;
    CArray<char> bytes(static_cast<char*>(c_reallocate(nullptr, capacity)));
    while (bytes) {
        const ssize_t got = read(descriptor, bytes.get() + size, capacity - size);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) {
            elog_log(1, "velorix_read_file: read(%s) error.\n", path);
            return nullptr;
        }
        if (got == 0 || !may_be_a_grid(bytes.get(), size)) {
            file->hold(bytes.release(), size, false);
            return file;
        }
        size += static_cast<size_t>(got);
        if (size < capacity) continue;
        capacity *= 2;
        char* grown = static_cast<char*>(c_reallocate(bytes.get(), capacity));
        if (!grown) break;
        static_cast<void>(bytes.release());
        bytes.reset(grown);
    }
    throw std::bad_alloc();
}

std::shared_ptr<FileBytes> bytes_of(const char* path) {
    const bool standard_input = std::string_view(path) == "-";
    const CloseDescriptor file{standard_input ? STDIN_FILENO : open(path, O_RDONLY | O_CLOEXEC)};
    struct stat status {};
    if (file.descriptor < 0 || fstat(file.descriptor, &status) < 0) {
        elog_log(1, "velorix_read_file: open(%s) error.\n", path);
        return nullptr;
    }
    if (S_ISDIR(status.st_mode)) {
        errno = EISDIR;
        elog_log(1, "velorix_read_file: open(%s) error.\n", path);
        return nullptr;
    }
    if (S_ISREG(status.st_mode) && status.st_size > 0 && !standard_input)
        return map_file(file.descriptor, static_cast<size_t>(status.st_size), path);
    return read_stream(file.descriptor, path);
}

template <class T>
T* take(char*& at, int64_t bytes) {
    T* block = reinterpret_cast<T*>(at);
    at += bytes;
    return block;
}

template <class T>
void take_table(T*& table, char*& at, int64_t bytes) {
    table = table ? take<T>(at, padded(bytes)) : nullptr;
}

// REQUIRES: the header's sizes add up to its size.
void set_pointers(Velorix& grid, char* heap) {
    char* at = heap + kHeaderSize;
    grid.stations = take<Station>(at, grid.stsize);
    grid.depths = take<double>(at, grid.dpsize);
    grid.sources = take<Source>(at, grid.srsize);
    take_table(grid.distances, at, grid.dssize);
    take_table(grid.P_times, at, grid.ttsize);
    take_table(grid.S_times, at, grid.ttsize);
    take_table(grid.ttoffsets, at, grid.ttosize);
    grid.sta_arr = nullptr;
}

// The heap at a place; null after a logged line.
GridPtr read_heap(char* bytes, uint64_t nbytes, const HeapPlace& place,
                  const std::shared_ptr<Backing>& backing) {
    const uint64_t offset = place.offset;
    GridPtr grid(new_owned_grid());
    if (!grid) throw std::bad_alloc();
    grid->backing = backing;
    if (!read_header(bytes + offset, nbytes - offset, place, *grid)) return nullptr;
    set_pointers(*grid, bytes + offset);
    Arr* map = nullptr;
    if (!check_contents(*grid, bytes + offset, place, &map)) return nullptr;
    grid->sta_arr = map;
    return grid;
}

int read_all(char* bytes, uint64_t nbytes, HeapPlace place, const std::shared_ptr<Backing>& backing,
             Tbl** grids) {
    if (nbytes == 0) {
        elog_log(0, "%s: %s: byte 0: the file is empty.\n", place.who, place.label);
        return -1;
    }
    Grids list(newtbl(4));
    if (!list) throw std::bad_alloc();
    while (place.offset < nbytes) {
        GridPtr grid = read_heap(bytes, nbytes, place, backing);
        if (!grid) return -1;
        place.offset += static_cast<uint64_t>(grid->size);
        Velorix* record = grid.get();
        if (settbl(list.get(), -1, record) < 0) throw std::bad_alloc();
        static_cast<void>(grid.release());
    }
    *grids = list.release();
    return maxtbl(*grids);
}

}  // namespace
}  // namespace velorix

extern "C" int velorix_read_file(const char* path, Tbl** grids) {
    *grids = nullptr;
    constexpr const char* who = "velorix_read_file";
    return velorix::guarded(who, -1, [&] {
        const auto bytes = velorix::bytes_of(path);
        if (!bytes) return -1;
        return velorix::read_all(bytes->bytes(), bytes->size(), {who, path, 0}, bytes, grids);
    });
}

extern "C" int velorix_read_buffer(void* buffer, uint64_t nbytes, const char* label, Tbl** grids) {
    *grids = nullptr;
    if (reinterpret_cast<uintptr_t>(buffer) % 8 != 0) {
        elog_log(0, "velorix_read_buffer: %s: the buffer is not aligned to 8 bytes.\n", label);
        return -1;
    }
    constexpr const char* who = "velorix_read_buffer";
    return velorix::guarded(who, -1, [&] {
        return velorix::read_all(static_cast<char*>(buffer), nbytes, {who, label, 0},
                                 std::make_shared<velorix::CallersBytes>(), grids);
    });
}
