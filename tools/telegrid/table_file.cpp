#include "table_file.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

#include "geodesic_mesh.h"

namespace telegrid {

namespace {

constexpr std::string_view kFirstLine = "velorix global source set 1\n";
constexpr uint8_t kShallowAlone = 1;
constexpr uint8_t kAllLayers = (1 << kDepthsKm.size()) - 1;

void put_number(std::string& bytes, uint32_t number) {
    for (; number >= 0x80; number >>= 7) bytes.push_back(static_cast<char>(0x80 | (number & 0x7F)));
    bytes.push_back(static_cast<char>(number));
}

class Reader {
  public:
    explicit Reader(std::string_view bytes) : bytes_(bytes) {
        if (!bytes.starts_with(kFirstLine)) fail("first line missing");
        at_ = kFirstLine.size();
    }

    bool done() const { return at_ == bytes_.size(); }
    uint8_t byte() {
        if (done()) fail("data end early");
        return static_cast<uint8_t>(bytes_[at_++]);
    }
    // A gap between vertices, doubled, has at most 21 bits.
    uint32_t number() {
        uint32_t value = 0;
        for (unsigned shift = 0; shift < 21; shift += 7) {
            const uint8_t group = byte();
            value |= static_cast<uint32_t>(group & 0x7F) << shift;
            if (group < 0x80) return value;
        }
        fail("number too long");
    }
    [[noreturn]] void fail(const std::string& what) const {
        throw std::runtime_error("global source set: byte " + std::to_string(at_) + ": " + what);
    }

  private:
    std::string_view bytes_;
    size_t at_ = 0;
};

}  // namespace

std::string encode(std::span<const uint8_t> layers) {
    std::string bytes(kFirstLine);
    uint32_t gap = 0;
    for (const uint8_t mask : layers) {
        if (mask == 0) {
            ++gap;
            continue;
        }
        put_number(bytes, gap * 2 + (mask != kShallowAlone));
        if (mask != kShallowAlone) bytes.push_back(static_cast<char>(mask));
        gap = 0;
    }
    return bytes;
}

Layers decode(std::string_view bytes) {
    Layers layers(kFineVertices, 0);
    Reader reader(bytes);
    for (size_t vertex = 0; !reader.done(); ++vertex) {
        const uint32_t number = reader.number();
        vertex += number / 2;
        if (vertex >= layers.size()) reader.fail("no such vertex");
        const uint8_t mask = number % 2 == 0 ? kShallowAlone : reader.byte();
        if (mask == 0 || mask > kAllLayers) reader.fail("no such layers");
        layers[vertex] = mask;
    }
    return layers;
}

std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::string content{std::istreambuf_iterator<char>(in), {}};
    if (!in || in.bad()) throw std::runtime_error(path + ": cannot be read");
    return content;
}

void write_file(const std::string& path, std::string_view content) {
    std::ofstream out(path, std::ios::binary);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    if (!out.flush()) throw std::runtime_error(path + ": cannot be written");
}

}  // namespace telegrid
