#include "grsubs/search_scratch.h"

#include <cstdlib>
#include <new>

#include "platform/elog/elog.h"

namespace velorix {
namespace {

template <class T>
bool resize_array(T*& array, const char* what, int count) {
    // NOLINTNEXTLINE(bugprone-sizeof-expression): T is a pointer in arrays of pointers.
    const size_t bytes = static_cast<size_t>(count) * sizeof(T);
    const bool fresh = array == nullptr;
    void* memory = std::realloc(array, bytes ? bytes : 1);
    if (memory) {
        array = static_cast<T*>(memory);
        return true;
    }
    elog_log(1,
             fresh ? "velorix_node_backproj: malloc(%s,%ld) error.\n"
                   : "velorix_node_backproj: realloc(%s,%ld) error.\n",
             what, static_cast<long>(bytes));
    return false;
}

template <class T>
void drop(T*& array) {
    std::free(array);
    array = nullptr;
}

void drop_candidates(SearchThread& thread) {
    drop(thread.backproj_buf);
    drop(thread.backproj_wt);
    drop(thread.backproj_group);
    drop(thread.backproj_subgroup);
    drop(thread.backproj_ptype);
    drop(thread.backproj_staobs_p);
    thread.backproj_nbuf = 0;
}

}  // namespace

bool list_stations(Tbl* stao_tbl, std::vector<StationObs*>& stations) try {
    stations.clear();
    for (int i = 0, n = maxtbl(stao_tbl); i < n; ++i) {
        stations.push_back(static_cast<StationObs*>(gettbl(stao_tbl, i)));
    }
    return true;
} catch (const std::bad_alloc&) {
    return false;
}

SearchScratch* scratch_of(SearchThread& thread) {
    if (!thread.scratch) thread.scratch = new (std::nothrow) SearchScratch;
    if (!thread.scratch) elog_log(1, "velorix_node_backproj: malloc() error.\n");
    return thread.scratch;
}

bool reserve_candidates(SearchThread& thread, int count) {
    if (thread.backproj_buf && thread.backproj_nbuf >= count) return true;
    if (resize_array(thread.backproj_buf, "buf", count) &&
        resize_array(thread.backproj_wt, "wt", count) &&
        resize_array(thread.backproj_group, "group", count) &&
        resize_array(thread.backproj_subgroup, "subgroup", count) &&
        resize_array(thread.backproj_ptype, "ptype", count) &&
        resize_array(thread.backproj_staobs_p, "staobs_p", count)) {
        thread.backproj_nbuf = count;
        return true;
    }
    drop_candidates(thread);
    return false;
}

}  // namespace velorix

extern "C" void velorix_free_search_thread(void* pointer) {
    auto* thread = static_cast<SearchThread*>(pointer);
    if (!thread) return;
    velorix::drop_candidates(*thread);
    velorix::drop(thread->cluster_buf);
    velorix::drop(thread->cluster_group_ptr);
    velorix::drop(thread->cluster_subgroup_ptr);
    freetbl(thread->stao_tbl, velorix_free_staobs);
    delete thread->scratch;
    std::free(thread);
}
