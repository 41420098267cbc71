#include "event.h"

#include <algorithm>
#include <map>

#include "text.h"

namespace velorix::assoc {

void name_events(std::vector<Event>& events) {
    std::stable_sort(events.begin(), events.end(),
                     [](const Event& a, const Event& b) { return a.time < b.time; });
    std::map<std::string, int> seen;
    for (Event& event : events) {
        std::string id;
        for (char c : iso_time(event.time, 2)) {
            if (c != '-' && c != ':') id += c;
        }
        id.pop_back();
        const int again = seen[id]++;
        event.id = again == 0 ? id : id + "." + std::to_string(again);
    }
}

}  // namespace velorix::assoc
