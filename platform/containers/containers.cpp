#include "platform/containers/containers.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <exception>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <vector>

struct Tbl {
    std::vector<void*> entries;
};

namespace {

using KeyCompare = int (*)(const char*, const char*);

struct KeyLess {
    using is_transparent = void;
    KeyCompare compare = std::strcmp;

    static const char* text(const char* key) { return key; }
    static const char* text(const std::string& key) { return key.c_str(); }
    template <class A, class B>
    bool operator()(const A& a, const B& b) const {
        return compare(text(a), text(b)) < 0;
    }
};

}  // namespace

struct Arr {
    std::map<std::string, void*, KeyLess> entries;
};

struct Hook {
    void* state;
    void (*release)(void*);
};

extern "C" Tbl* newtbl(int size) {
    try {
        auto tbl = std::make_unique<Tbl>();
        if (size > 0) tbl->entries.reserve(static_cast<size_t>(size));
        return tbl.release();
    } catch (const std::exception&) {
        return nullptr;
    }
}

extern "C" void* gettbl(const Tbl* tbl, int i) {
    if (!tbl || i < 0 || static_cast<size_t>(i) >= tbl->entries.size()) return nullptr;
    return tbl->entries[static_cast<size_t>(i)];
}

extern "C" int settbl(Tbl* tbl, int i, void* value) {
    if (!tbl || i < -1) return -1;
    auto& entries = tbl->entries;
    const size_t place = i == -1 ? entries.size() : static_cast<size_t>(i);
    if (place >= static_cast<size_t>(INT_MAX)) return -1;
    try {
        if (place >= entries.size()) entries.resize(place + 1, nullptr);
    } catch (const std::exception&) {
        return -1;
    }
    entries[place] = value;
    return static_cast<int>(place);
}

extern "C" int maxtbl(const Tbl* tbl) { return tbl ? static_cast<int>(tbl->entries.size()) : 0; }

extern "C" void clrtbl(Tbl* tbl) {
    if (tbl) tbl->entries.clear();
}

extern "C" void sorttbl(Tbl* tbl, int (*compare)(const void*, const void*, void*), void* user) {
    if (!tbl || !compare) return;
    std::stable_sort(tbl->entries.begin(), tbl->entries.end(), [&](void* const& a, void* const& b) {
        return compare(static_cast<const void*>(&a), static_cast<const void*>(&b), user) < 0;
    });
}

extern "C" void freetbl(Tbl* tbl, void (*release)(void*)) {
    if (!tbl) return;
    if (release) {
        for (void* entry : tbl->entries) {
            if (entry) release(entry);
        }
    }
    delete tbl;
}

extern "C" Arr* newarr(KeyCompare compare) {
    auto* arr = new (std::nothrow) Arr;
    if (arr && compare) arr->entries = decltype(arr->entries)(KeyLess{compare});
    return arr;
}

extern "C" void* getarr(const Arr* arr, const char* key) {
    if (!arr || !key) return nullptr;
    const auto found = arr->entries.find(key);
    return found == arr->entries.end() ? nullptr : found->second;
}

extern "C" int setarr(Arr* arr, const char* key, void* value) {
    if (!arr || !key) return -1;
    try {
        const auto found = arr->entries.find(key);
        if (found != arr->entries.end()) {
            found->second = value;
        } else {
            arr->entries.emplace(key, value);
        }
        return 0;
    } catch (const std::exception&) {
        return -1;
    }
}

extern "C" void* delarr(Arr* arr, const char* key) {
    if (!arr || !key) return nullptr;
    const auto found = arr->entries.find(key);
    if (found == arr->entries.end()) return nullptr;
    void* value = found->second;
    arr->entries.erase(found);
    return value;
}

extern "C" int maxarr(const Arr* arr) { return arr ? static_cast<int>(arr->entries.size()) : 0; }

extern "C" Tbl* keysarr(const Arr* arr) {
    Tbl* keys = newtbl(maxarr(arr));
    if (!keys || !arr) return keys;
    for (const auto& [key, value] : arr->entries) {
        // The list only lends the keys; Tbl holds plain void pointers.
        if (settbl(keys, -1, const_cast<char*>(key.c_str())) < 0) {
            freetbl(keys, nullptr);
            return nullptr;
        }
    }
    return keys;
}

extern "C" void freearr(Arr* arr, void (*release)(void*)) {
    if (!arr) return;
    if (release) {
        for (const auto& [key, value] : arr->entries) {
            if (value) release(value);
        }
    }
    delete arr;
}

extern "C" Hook* newhook(void* state, void (*release)(void*)) {
    return new (std::nothrow) Hook{state, release};
}

extern "C" void* hookstate(const Hook* hook) { return hook ? hook->state : nullptr; }

extern "C" void freehook(Hook** hook) {
    if (!hook || !*hook) return;
    if ((*hook)->release && (*hook)->state) (*hook)->release((*hook)->state);
    delete *hook;
    *hook = nullptr;
}
