#ifndef VELORIX_ASSOC_EVENT_READER_H
#define VELORIX_ASSOC_EVENT_READER_H
// One maker for each kind of file of events. Null with `error` set.
#include <memory>
#include <string>

#include "../picks/byte_source.h"
#include "../velorixassoc.h"

namespace velorix::assoc {

std::unique_ptr<EventReader> make_quakeml_event_reader(std::unique_ptr<ByteSource> source,
                                                       std::string& error);

}  // namespace velorix::assoc
#endif
