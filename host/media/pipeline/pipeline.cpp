#include "media/pipeline/pipeline.h"

#include <algorithm>

#include "objects/class_registry.h"
#include "objects/creation.h"
#include "objects/log.h"
#include "text/names.h"

namespace kep::host {
namespace {

const ClassRegistration<Pipeline> pipelineRegistration("Pipeline");

constexpr int kLongestPast = 60'000;  // milliseconds

/** The element before position `end` that has this name; null when there is none. */
Element* findBefore(const std::vector<ObjectImpl*>& objects, std::size_t end, const std::string& name) {
    for (std::size_t i = 0; i < end; ++i) {
        if (foldedName(objects[i]->name()) == foldedName(name)) return dynamic_cast<Element*>(objects[i]);
    }
    return nullptr;
}

}  // namespace

Pipeline::Pipeline() {
    // Within an application a pipeline may have the attributes of an element, which have no effect.
    reserveAttributes({"layout", "serialize", "link", "dbg"});
    properties().add<bool>(
        "ondemand", [this] { return onDemand_.load(); },
        [this](bool wanted) {
            onDemand_ = wanted;
            Outlet::Demand demand;
            if (wanted)
                demand = [this](bool up) { return up ? changeUp(State::play) : changeDown(State::null); };
            outlet_->setDemand(std::move(demand));
            return true;
        });
    addNumber("past", past_, 0, kLongestPast,
              [this] { outlet_->keepPast(std::chrono::milliseconds(past_.load())); });
}

Pipeline::~Pipeline() {
    OutletNames::instance().remove(outlet_.get());
    // No longer started on demand; listeners still get what it flushes.
    outlet_->setDemand(nullptr);
    retire();
    outlet_->end();
}

bool Pipeline::receiveMessage(base::Message& message) {
    if (!parent()) outlet_->tell(message.ToString());
    return ObjectImpl::receiveMessage(message);
}

bool Pipeline::plan(Description& chain, const std::vector<ObjectImpl*>& objects, std::vector<Joint>& joints) {
    for (std::size_t i = 0; i < objects.size(); ++i) {
        // A description that is not a chain is a single element.
        Description& text = i < chain.elements().size() ? chain.elements()[i] : chain;
        const auto place = [&] { return text.place(0); };
        Joint joint{dynamic_cast<Element*>(objects[i]), {}};
        if (!joint.element) {
            KEP_HOST_ERROR(objects[i]->label() + " is not a pipeline element" + place());
            return false;
        }
        const char* const link = text.attributes().Get("link");
        if (!link && i > 0) joint.feeders.push_back(joints.back().element);
        std::vector<std::string> names;
        TextError error;
        if (link && foldedName(link) != "null" && !parseList(link, names, error)) {
            KEP_HOST_ERROR(objects[i]->label() + ": link={" + link + "}: " + error.message + place());
            return false;
        }
        for (const std::string& name : names) {
            Element* const feeder = findBefore(objects, i, name);
            if (!feeder) {
                KEP_HOST_ERROR("there is no element \"" + name + "\" before " + objects[i]->label() +
                               " to link it with" + place());
                return false;
            }
            if (std::find(joint.feeders.begin(), joint.feeders.end(), feeder) == joint.feeders.end())
                joint.feeders.push_back(feeder);
        }
        if (!joint.feeders.empty() && dynamic_cast<SourceElement*>(joint.element)) {
            KEP_HOST_ERROR(objects[i]->label() + " is a source and cannot be linked after " +
                           joint.feeders.front()->label() + place());
            return false;
        }
        joints.push_back(std::move(joint));
    }
    return true;
}

bool Pipeline::Configure(base::AttrSet& attributes) {
    NestedDescription chain(attributes, attributes.Get("layout") ? "layout" : "serialize");
    PendingChildren content;
    std::vector<Joint> joints;
    if (!knowsAll(attributes)) return false;
    if (chain) {
        if (!content.make(*chain) || !plan(*chain, content.objects(), joints)) return false;
        changeDown(State::null);
        if (!replaceChildren(content.objects())) return false;
        for (const Joint& joint : joints) {
            for (Element* const feeder : joint.feeders) feeder->link(*joint.element);
        }
        if (!joints.empty()) joints.back().element->setOutlet(outlet_);
    }
    if (!ObjectImpl::Configure(attributes)) return false;
    if (!name().empty() && !named_) OutletNames::instance().add(name(), outlet_);
    named_ = true;
    return true;
}

}  // namespace kep::host
