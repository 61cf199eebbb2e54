/** URLs and unique texts of the double. */
#include "kep/url.h"
#include "script.h"

namespace kep::base {

using scripted::step;

bool IUrl::Parse(const char* url, AttrSet& parts) {
    if (!step("IUrl::Parse", url)) return false;
    const std::string text = url;
    const auto dot = text.rfind('.');
    if (dot != std::string::npos && text.find('/', dot) == std::string::npos)
        parts.Add("ext", &text[dot + 1]);
    return true;
}

std::string UniqueString() {
    step("UniqueString");
    return "<unique>";
}

}  // namespace kep::base
