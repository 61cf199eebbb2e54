#include "core/application.h"

#include <string_view>

#include "core/class_registry.h"
#include "core/creation.h"

namespace kep::host {
namespace {

const ClassRegistration<Application> registration("Application", Naming::found);

}  // namespace

bool Application::Configure(base::AttrSet& attributes) {
    const char* const layout = attributes.Get("layout");
    base::AttrSet own;
    for (int i = 0; attributes.Key(i); ++i) {
        if (std::string_view(attributes.Key(i)) != "layout") own.Add(attributes.Key(i), attributes.Value(i));
    }
    // Everything that can be refused comes before what runs is touched.
    Offspring content;
    if (!knowsAll(own) || (layout && !content.make(layout))) return false;
    if (layout) {
        changeDown(State::null);
        if (!replaceChildren(content.objects())) return false;
    }
    return ObjectImpl::Configure(own);
}

}  // namespace kep::host
