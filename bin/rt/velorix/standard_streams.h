#ifndef VELORIX_TOOL_STANDARD_STREAMS_H
#define VELORIX_TOOL_STANDARD_STREAMS_H
// Standard output as the carrier of binary data.
#include <cstddef>

namespace velorix::tool {

/**
 * Makes failures of standard output visible as errors of the write: a reader that has gone away no
 * longer kills the process, and a standard stream that the caller has closed cannot be taken over
 * by the next file that is opened. Call it first.
 */
void prepare_standard_streams();

/// Writes one block and flushes it; false, with errno set, when it did not go out whole.
bool write_block(const void* data, size_t nbytes);

}  // namespace velorix::tool
#endif
