#ifndef VELORIX_ASSOC_EVENT_ID_H
#define VELORIX_ASSOC_EVENT_ID_H
#include "../velorixassoc.h"

namespace velorix::assoc {

/// The identifier of a final event, from nothing but the event.
std::string event_id(const Event& event);

}  // namespace velorix::assoc
#endif
