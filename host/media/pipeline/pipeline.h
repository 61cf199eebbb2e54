#ifndef KEP_HOST_PIPELINE_H
#define KEP_HOST_PIPELINE_H

#include <atomic>
#include <memory>

#include "media/pipeline/element.h"
#include "media/pipeline/outlet.h"
#include "text/description.h"

namespace kep::host {

/**
 * A chain of elements, given as `layout` or `serialize`. Each is fed by the one written before it, or by
 * those that its `link` names; with `link=null` by none. A new chain replaces the old one once it is
 * complete. Others can listen to the packets of the last element; they find the pipeline by its name. A
 * pipeline without a parent also passes the messages of its elements to the listeners.
 *
 * The last `past` milliseconds of its packets are kept for later listeners. With `ondemand=true` it runs
 * while a listener is attached.
 */
class Pipeline final : public ObjectImpl {
  public:
    Pipeline();
    ~Pipeline() override;

    bool Configure(base::AttrSet& attributes) override;
    bool receiveMessage(base::Message& message) override;
    const std::shared_ptr<Outlet>& outlet() const { return outlet_; }

  protected:
    bool asksChildren() const override { return true; }

  private:
    /** An element and the elements that feed it. */
    struct Joint {
        Element* element;
        std::vector<Element*> feeders;
    };

    static bool plan(Description& chain, const std::vector<ObjectImpl*>& objects, std::vector<Joint>& joints);

    const std::shared_ptr<Outlet> outlet_ = std::make_shared<Outlet>();
    std::atomic<bool> onDemand_{false};
    std::atomic<int> past_{0};
    bool named_ = false;
};

}  // namespace kep::host

#endif
