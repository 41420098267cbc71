// Feeds arbitrary text to the model reader, and what it accepts to the ray tables.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/ttcalc/earth_model.h"
#include "platform/ttcalc/pair.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace velorix::tt;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    for (const ModelFormat format : {ModelFormat::kTvel, ModelFormat::kNamedDiscontinuities}) {
        EarthModel model;
        std::string error;
        if (!parse_model(text, format, "input", model, error)) {
            if (error.empty() || !model.points.empty()) __builtin_trap();
            continue;
        }
        // Small ones only: sampling the rays of a large model takes too long for a fuzzer.
        if (model.points.size() > 12) continue;
        const RayTable table(model, Family::kS);
        const Pair pair(table, model, kEarthRadius - 1.0, kEarthRadius);
        for (const Block& block : table.blocks()) {
            const Run run = pair.downgoing(block);
            for (int i = 0; i < run.count; ++i) {
                if (!(pair.ray(run, i).t >= 0.0)) __builtin_trap();
            }
        }
    }
    return 0;
}
