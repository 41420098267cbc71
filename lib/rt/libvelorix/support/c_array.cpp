#include "support/c_array.h"

void* velorix::c_allocate(size_t bytes) { return std::calloc(bytes ? bytes : 1, 1); }

void* velorix::c_reallocate(void* block, size_t bytes) { return std::realloc(block, bytes); }
