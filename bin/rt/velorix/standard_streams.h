#ifndef VELORIX_TOOL_STANDARD_STREAMS_H
#define VELORIX_TOOL_STANDARD_STREAMS_H
// Standard output as the carrier of binary data.
#include <cstddef>

namespace velorix::tool {

/// A standard stream that the caller has closed cannot be taken over by the next file that is
/// opened; what is written to it fails. Call it first.
void occupy_standard_streams();

/**
 * The same, and failures of standard output become errors of the write: a reader that has gone away
 * no longer kills the process.
 */
void prepare_standard_streams();

/// Writes one block and flushes it; false, with errno set, when it did not go out whole.
bool write_block(const void* data, size_t nbytes);

/// Flushes and closes standard output, which is when some file systems tell of a write that failed.
/// False, with errno set, when one did. Nothing can be written afterwards.
bool close_output();

}  // namespace velorix::tool
#endif
