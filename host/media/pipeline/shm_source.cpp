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
 * Brings in what another pipeline gives at its end: `connect={type=pipeline,name=X}` attaches to the one of
 * that name, `connect={type=pipeline,layout={...},name=Y}` makes one of its own, which it starts and stops.
 * Between the two is a queue bounded in bytes, with a thread behind it; a chain that does not keep up loses
 * whole groups, oldest first. What takes at once is given packets where the other pipeline gives them.
 */
class ShmSource final : public SourceElement {
  public:
    ShmSource() {
        filmingBegins();
        reserveAttributes({"connect"});
        inlet_.onLost = [this](const std::vector<SharedPacket>& lost) { tellLost(lost); };
        inlet_.onMessage = [this](const std::string& text) {
            TextMessage message(text.c_str());
            sendMessage(message);
        };
        inlet_.onEnd = [this] { tell("pipelineLost", "pipeline={" + partner_ + "}"); };
    }
    ~ShmSource() override { retire(); }

    bool Configure(base::AttrSet& attributes) override {
        NestedDescription partner(attributes, "connect");
        if (!knowsAll(attributes) || (partner && !connect(*partner))) return false;
        return SourceElement::Configure(attributes);
    }

    /** May come before this element is up, as those behind it are up earlier. */
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
        setOutletToHear(outlet);
        if (isPartOf(*outlet)) {
            KEP_HOST_ERROR(label() + ": pipeline \"" + partner_ + "\" cannot listen to itself");
            return false;
        }
        const bool pulls = !nextTakeAtOnce();
        inlet_.onPacket = nullptr;
        if (!pulls) inlet_.onPacket = [this](const SharedPacket& packet) { give(packet); };
        // Before the own pipeline starts, so that its first picture is not missed.
        if (!outlet->attach(inlet_)) return false;
        isAttached_ = true;
        if (pulls) thread_ = startThread(Thread::shmSource, [this] { work(); });
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
    bool connect(Description& description) {
        if (!readItems(description)) return false;
        const base::AttrSet& partner = description.attributes();
        if (foldedClassName(partner.GetOrDef("type", "")) != "pipeline") {
            KEP_HOST_ERROR(label() + ": connect={" + std::string(description.text()) +
                           "} describes no pipeline" + description.place(0));
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
        setOutletToHear(outlet);
        partner_ = name;
        return replaceChildren(content.objects());
    }

    void setOutletToHear(const std::shared_ptr<Outlet>& outlet) {
        const MutexLock lock(outletMutex_);
        outlet_ = outlet;
    }
    std::shared_ptr<Outlet> outlet() {
        const MutexLock lock(outletMutex_);
        return outlet_;
    }

    /** Whether what this gives ends up there. */
    bool isPartOf(const Outlet& outlet) const {
        for (const ObjectImpl* above = parent(); above; above = above->parent()) {
            const auto* const pipeline = dynamic_cast<const Pipeline*>(above);
            if (pipeline && pipeline->outlet().get() == &outlet) return true;
        }
        return false;
    }

    void work() {
        for (SharedPacket packet; inlet_.queue().pull(packet, true);) give(packet);
    }

    /** Hands on what has come, and ends. */
    void leave() {
        if (!std::exchange(isAttached_, false)) return;
        outlet()->detach(inlet_);
        inlet_.queue().finish();
        if (thread_.joinable()) thread_.join();
    }

    Inlet inlet_;
    bool isAttached_ = false;
    std::string partner_;
    Mutex outletMutex_;
    std::shared_ptr<Outlet> outlet_ GUARDED_BY(outletMutex_);
    std::thread thread_;
};

const ClassRegistration<ShmSource> registration("ShmSource");

}  // namespace
}  // namespace kep::host
