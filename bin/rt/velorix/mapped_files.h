#ifndef VELORIX_MAPPED_FILES_H
#define VELORIX_MAPPED_FILES_H

namespace velorix::tool {

/**
 * Grid files are mapped, not copied. When somebody shortens one in use, or its disk fails, the next
 * look at it ends the program with a line that says so and status 1, instead of by the bare signal.
 * For programs alone: a library leaves signals to whoever links it.
 */
void end_when_mapped_file_is_lost();

}  // namespace velorix::tool

#endif
