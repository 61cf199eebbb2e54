#include "objects/plug_ins.h"

#include <algorithm>

#include "kep/reflect.h"
#include "objects/log.h"
#include "objects/mutex.h"

namespace kep::host {
namespace {

class PlugIns {
  public:
    static PlugIns& instance() {
        // Never destroyed: a plug-in may register itself from any static initialisation.
        static PlugIns* const known = new PlugIns;
        return *known;
    }

    int add(const char* name, const char* version, int priority) {
        const MutexLock lock(mutex_);
        auto found =
            std::find_if(list_.begin(), list_.end(), [=](const PlugIn& known) { return known.name == name; });
        // Unloading is not reported: a known name is the same plug-in loaded again.
        if (found == list_.end()) {
            const int index = static_cast<int>(list_.size()) + 1;
            found = list_.insert(found, PlugIn{name, {}, priority, index, 0});
        }
        found->version = version ? version : "";
        found->priority = priority;
        ++found->entered;
        return found->index;
    }

    std::vector<PlugIn> list() {
        std::vector<PlugIn> sorted;
        {
            const MutexLock lock(mutex_);
            sorted = list_;
        }
        std::stable_sort(sorted.begin(), sorted.end(),
                         [](const PlugIn& a, const PlugIn& b) { return a.priority < b.priority; });
        return sorted;
    }

  private:
    Mutex mutex_;
    std::vector<PlugIn> list_ GUARDED_BY(mutex_);
};

}  // namespace

std::vector<PlugIn> plugIns() {
    return PlugIns::instance().list();
}

}  // namespace kep::host

// The callback is never called: it belongs to code that may be unloaded without notice.
extern "C" int ReflectAdd(void (*)(const char*), int priority, const char* name, const char* version) {
    if (!name || !*name) {
        KEP_HOST_ERROR("cannot register a plug-in without a name");
        return 0;
    }
    return kep::host::PlugIns::instance().add(name, version, priority);
}
