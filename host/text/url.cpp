#include "kep/url.h"

#include <unistd.h>

#include <atomic>
#include <cctype>
#include <chrono>
#include <string_view>

#include "text/attr_text.h"

namespace kep::base {
namespace {

constexpr std::string_view kSeparator = "://";

bool isScheme(std::string_view text) {
    if (text.empty() || !std::isalpha(static_cast<unsigned char>(text.front()))) return false;
    for (const char letter : text) {
        if (!std::isalnum(static_cast<unsigned char>(letter)) &&
            std::string_view("+-.").find(letter) == text.npos)
            return false;
    }
    return true;
}

bool add(AttrSet& parts, const char* key, std::string_view value) {
    return value.empty() || parts.Add(key, std::string(value).c_str());
}

/** Fills `parts`; returns what is wrong with `url`, or null. */
const char* split(std::string_view url, AttrSet& parts) {
    const std::size_t separator = url.find(kSeparator);
    if (separator == url.npos || !isScheme(url.substr(0, separator))) return "not a URL: scheme:// missing";
    const std::string_view scheme = url.substr(0, separator);
    std::string_view path = url.substr(separator + kSeparator.size());
    bool added = add(parts, "scheme", scheme);
    if (scheme != "file") {
        const std::size_t slash = path.find('/');
        added = add(parts, "host", path.substr(0, slash)) && added;
        path = slash == path.npos ? std::string_view() : path.substr(slash);
    } else if (path.empty() || path.back() == '/') {
        return "file URL without a file name";
    }
    const std::size_t slash = path.rfind('/');
    const std::string_view name = slash == path.npos ? path : path.substr(slash + 1);
    added = add(parts, "path", path) && add(parts, "name", name) && added;
    const std::size_t dot = name.rfind('.');
    // A leading dot marks a hidden file, not an extension.
    if (dot != name.npos && dot > 0) added = add(parts, "ext", name.substr(dot + 1)) && added;
    return added ? nullptr : "URL with unbalanced braces";
}

}  // namespace

bool IUrl::Parse(const char* url, AttrSet& parts) {
    AttrSet fresh;
    const char* const reason = split(url ? url : "", fresh);
    if (reason) host::tellTextError(url ? url : "", {0, reason});
    parts = fresh;
    return !reason;
}

std::string UniqueString() {
    static std::atomic<std::int64_t> count{0};
    const std::int64_t now = std::chrono::steady_clock::now().time_since_epoch().count();
    return ToString(static_cast<int>(getpid())) + "_" + ToString(now) + "_" + ToString(count.fetch_add(1));
}

}  // namespace kep::base
