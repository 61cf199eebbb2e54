#include <thread>
#include <utility>

#include "media/common/filming.h"
#include "media/pipeline/pipeline.h"
#include "media/threads.h"
#include "objects/class_registry.h"
#include "objects/creation.h"
#include "objects/log.h"
#include "objects/text_message.h"
#include "text/names.h"

namespace kep::host {
namespace {

/**
 * Receives the packets at the end of another pipeline: `connect={type=pipeline,name=X}` attaches to the one
 * of that name, `connect={type=pipeline,layout={...},name=Y}` makes one of its own, which it starts and
 * stops. Between the two is a queue bounded in bytes, with a thread behind it; when the chain does not keep
 * up, the queue drops whole groups, oldest first. A non-blocking chain runs on the other pipeline's thread.
 */
class ShmSource final : public SourceElement, private Inlet {
  public:
    ShmSource() {
        filmingBegins();
        reserveAttributes({"connect"});
    }
    ~ShmSource() override { retire(); }

    bool Configure(base::AttrSet& attributes) override {
        NestedDescription partner(attributes, "connect");
        if (!knowsAll(attributes) || (partner && !connect(*partner))) return false;
        return SourceElement::Configure(attributes);
    }

    /** May be called before this element is up, as later elements go up first. */
    void requestKeyFrame(SteadyTime at) override {
        if (const std::shared_ptr<Outlet> outlet = this->outlet()) outlet->requestKeyFrame(at);
    }

  protected:
    bool asksChildren() const override { return true; }

    bool up(State target) override {
        if (target != State::play) return ObjectImpl::up(target);
        std::shared_ptr<Outlet> outlet = this->outlet();
        if (outlet && outlet->hasEnded()) outlet = OutletNames::instance().find(partner_);
        if (!outlet) {
            KEP_HOST_ERROR(label() + ": there is no pipeline \"" + partner_ + "\"");
            return false;
        }
        setUpstream(outlet);
        if (isPartOf(*outlet)) {
            KEP_HOST_ERROR(label() + ": pipeline \"" + partner_ + "\" cannot listen to itself");
            return false;
        }
        pulls_ = !nextTakeAtOnce();
        // Attach before this element's own pipeline starts, so that its first picture is not missed.
        if (!outlet->attach(*this)) return false;
        isAttached_ = true;
        if (pulls_)
            thread_ = startThread(Thread::shmSource, [this] {
                for (SharedPacket packet; queue().pull(packet, true);) give(packet);
            });
        if (ObjectImpl::up(target)) return true;
        leave();
        return false;
    }

    bool down(State target) override {
        const bool clean = ObjectImpl::down(target);
        leave();
        return clean;
    }

  private:
    void lost(const std::vector<SharedPacket>& dropped) override { tellLost(dropped); }
    void told(const std::string& text) override {
        TextMessage message(text.c_str());
        sendMessage(message);
    }
    void ended() override { tell("pipelineLost", "pipeline={" + partner_ + "}"); }
    bool worksAtOnce() const override { return !pulls_; }
    void work(const SharedPacket& packet) override { give(packet); }

    bool connect(Description& description) {
        if (!readItems(description)) return false;
        const base::AttrSet& partner = description.attributes();
        if (foldedClassName(partner.GetOrDef("type", "")) != "pipeline") {
            KEP_HOST_ERROR(label() + ": connect={" + std::string(description.text()) +
                           "} does not describe a pipeline" + description.place(0));
            return false;
        }
        const char* const name = partner.GetOrDef("name", "");
        std::shared_ptr<Outlet> outlet;
        PendingChildren content;
        if (partner.Get("layout") || partner.Get("serialize")) {
            if (!content.make(description)) return false;
            auto* const own = dynamic_cast<Pipeline*>(content.objects().front());
            if (!own) return false;
            outlet = own->outlet();
        } else {
            outlet = OutletNames::instance().find(name);
        }
        if (!outlet) {
            KEP_HOST_ERROR(label() + ": there is no pipeline \"" + name + "\"" + description.place(0));
            return false;
        }
        changeDown(State::null);
        setUpstream(outlet);
        partner_ = name;
        return replaceChildren(content.objects());
    }

    void setUpstream(const std::shared_ptr<Outlet>& outlet) {
        const MutexLock lock(outletMutex_);
        outlet_ = outlet;
    }
    std::shared_ptr<Outlet> outlet() {
        const MutexLock lock(outletMutex_);
        return outlet_;
    }

    /** Whether this element is part of that pipeline. */
    bool isPartOf(const Outlet& outlet) const {
        for (const ObjectImpl* above = parent(); above; above = above->parent()) {
            const auto* const pipeline = dynamic_cast<const Pipeline*>(above);
            if (pipeline && pipeline->outlet().get() == &outlet) return true;
        }
        return false;
    }

    /** Detaches, and passes on what is queued. */
    void leave() {
        if (!std::exchange(isAttached_, false)) return;
        outlet()->detach(*this);
        queue().finish();
        if (thread_.joinable()) thread_.join();
    }

    bool pulls_ = false; /**< from the queue, on a thread of its own; fixed while attached */
    bool isAttached_ = false;
    std::string partner_;
    Mutex outletMutex_;
    std::shared_ptr<Outlet> outlet_ GUARDED_BY(outletMutex_);
    std::thread thread_;
};

const ClassRegistration<ShmSource> shmSourceRegistration("ShmSource");

}  // namespace
}  // namespace kep::host
