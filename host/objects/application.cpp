#include "objects/application.h"

#include "objects/class_registry.h"
#include "objects/creation.h"

namespace kep::host {
namespace {

const ClassRegistration<Application> applicationRegistration("Application", Naming::found);

}  // namespace

bool Application::Configure(base::AttrSet& attributes) {
    NestedDescription layout(attributes, "layout");
    // Check everything that can be refused before touching what runs.
    PendingChildren content;
    if (!knowsAll(attributes) || (layout && !content.make(*layout))) return false;
    if (layout) {
        changeDown(State::null);
        if (!replaceChildren(content.objects())) return false;
    }
    return ObjectImpl::Configure(attributes);
}

}  // namespace kep::host
