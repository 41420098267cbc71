#include "platform/pf/tree.h"

#include <new>

namespace velorix::pf {

std::string location(const Pf& node) {
    if (node.place.line == 0) return *node.file;
    return *node.file + ":" + std::to_string(node.place.line) + ":" +
           std::to_string(node.place.column);
}

std::string path(const Pf& node) {
    if (!node.parent) return node.name;
    const std::string above = path(*node.parent);
    return above.empty() ? node.name : above + "." + node.name;
}

std::string description(const Pf& node) {
    constexpr size_t longest = 60;  // of a value quoted in a message
    const bool cut = node.text.size() > longest;
    const std::string value = cut ? node.text.substr(0, longest) + "..." : node.text;
    switch (node.kind) {
        case Kind::table:
            return "a table";
        case Kind::array:
            return "an array";
        case Kind::string:
            return "the string \"" + value + "\"";
        case Kind::integer:
            return "the integer " + value;
        case Kind::real:
            return "the number " + value;
        case Kind::boolean:
            return "the boolean " + value;
        case Kind::time:
            return "the time " + value;
    }
    return "an unknown value";
}

}  // namespace velorix::pf

extern "C" int pfput_string(Pf* pf, const char* key, const char* value) {
    if (!pf || !key || !value || pf->kind != velorix::pf::Kind::table) return -1;
    try {
        auto node = std::make_unique<Pf>();
        node->kind = velorix::pf::Kind::string;
        node->text = value;
        node->name = key;
        node->parent = pf;
        node->file = pf->file;
        auto [place, is_new] = pf->children.try_emplace(key);
        if (pf->keys && setarr(pf->keys.get(), key, node.get()) < 0) {
            if (is_new) pf->children.erase(place);
            return -1;
        }
        place->second = std::move(node);
        return 0;
    } catch (const std::bad_alloc&) {
        return -1;
    }
}

extern "C" Arr* pfarr(Pf* pf) {
    if (!pf || pf->kind != velorix::pf::Kind::table) return nullptr;
    if (pf->keys) return pf->keys.get();
    pf->keys.reset(newarr(nullptr));
    for (const auto& [key, child] : pf->children) {
        if (setarr(pf->keys.get(), key.c_str(), child.get()) < 0) {
            pf->keys.reset();
            return nullptr;
        }
    }
    return pf->keys.get();
}

extern "C" void pffree(Pf* pf) {
    // A child belongs to its root and goes with it.
    if (pf && !pf->parent) delete pf;
}
