#include "objects/application.h"

#include "objects/class_registry.h"
#include "objects/creation.h"

namespace kep::host {
namespace {

const ClassRegistration<Application> registration("Application", Naming::found);

}  // namespace

bool Application::Configure(base::AttrSet& attributes) {
    NestedDescription layout(attributes, "layout");
    // Everything that can be refused comes before what runs is touched.
    PendingChildren content;
    if (!knowsAll(attributes) || (layout && !content.make(*layout))) return false;
    if (layout) {
        changeDown(State::null);
        if (!replaceChildren(content.objects())) return false;
    }
    return ObjectImpl::Configure(attributes);
}

}  // namespace kep::host
