#include "objects/class_registry.h"
#include "objects/creation.h"

namespace kep::host {
namespace {

/**
 * Serves the results of its `partner`, an application that it owns: starts and stops it, and forwards its
 * messages. `index` is a number that the application may set; it has no effect.
 */
class ShmService final : public ObjectImpl {
  public:
    ShmService() {
        reserveAttributes({"partner"});
        properties().add("index", index_);
    }
    ~ShmService() override { retire(); }

    bool Configure(base::AttrSet& attributes) override {
        NestedDescription partner(attributes, "partner");
        PendingChildren content;
        if (!knowsAll(attributes) || (partner && !content.make(*partner))) return false;
        if (partner) {
            changeDown(State::null);
            if (!replaceChildren(content.objects())) return false;
        }
        return ObjectImpl::Configure(attributes);
    }

  protected:
    bool asksChildren() const override { return true; }

  private:
    std::atomic<int> index_{0};
};

const ClassRegistration<ShmService> shmServiceRegistration("ShmService", Naming::kept);

}  // namespace
}  // namespace kep::host
