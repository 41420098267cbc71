#ifndef VELORIX_TOOL_NO_MEMORY_H
#define VELORIX_TOOL_NO_MEMORY_H

namespace velorix::tool {

/**
 * Libraries that run out of memory where they must not throw, as those for TOML and JSON do, would
 * end the program by a signal; this ends it with a line that says so and status 1. What stands in
 * buffers is not written. For programs alone, like end_when_mapped_file_is_lost.
 */
void end_when_memory_fails();

}  // namespace velorix::tool

#endif
