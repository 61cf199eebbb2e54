#include "media/recording/muxer_settings.h"

#include <algorithm>
#include <iterator>

#include "kep/attr_set.h"
#include "kep/url.h"
#include "objects/log.h"
#include "text/names.h"

namespace kep::host {
namespace {

constexpr std::string_view kOptions[] = {",creater=", ",temp_ext_name="};

bool refuse(const std::string& owner, std::string_view text, const std::string& reason) {
    KEP_HOST_ERROR(owner + ": " + std::string(text) + " " + reason);
    return false;
}

}  // namespace

std::string fileUrl(const std::string& path) {
    return "file://" + path;
}

bool MuxerUrl::read(std::string_view text, const std::string& owner, MuxerUrl& url) {
    // A file name may contain commas.
    std::size_t end = text.size();
    for (const std::string_view option : kOptions) end = std::min(end, text.find(option));
    base::AttrSet parts;
    const std::string address(text.substr(0, end));
    if (!base::IUrl::Parse(address.c_str(), parts)) return false;
    if (foldedName(parts.GetOrDef("scheme", "")) != "file")
        return refuse(owner, "url={" + address + "}", "is not a file URL");
    base::AttrSet options;
    if (end < text.size() && !options.Parse(std::string(text.substr(end + 1)).c_str())) return false;
    for (int i = 0; const char* const key = options.Key(i); ++i) {
        const std::string_view value = options.Value(i);
        if (std::string_view(key) == "creater") {
            if (value != "ntp") return refuse(owner, "creater=" + std::string(value), "must be ntp");
        } else if (std::string_view(key) != "temp_ext_name") {
            return refuse(owner, "url", "has an unknown option \"" + std::string(key) + "\"");
        } else if (value.find('/') != value.npos) {
            return refuse(owner, "temp_ext_name=" + std::string(value), "must not contain \"/\"");
        }
    }
    url = {parts.GetOrDef("path", ""), options.GetOrDef("temp_ext_name", "")};
    return true;
}

bool MuxerMessages::read(const char* text, const std::string& owner, MuxerMessages& messages) {
    base::AttrSet set;
    if (!set.Parse(text)) return false;
    MuxerMessages asked;
    for (int i = 0; const char* const key = set.Key(i); ++i) {
        const bool start = std::string_view(key) == "recordStart";
        if (!start && std::string_view(key) != "recordStop")
            return refuse(owner, "sendmsg={" + std::string(text) + "}",
                          "asks for an unknown message \"" + std::string(key) + "\"");
        base::AttrSet how;
        if (!how.Parse(set.Value(i))) return false;
        const std::string_view when = how.GetOrDef("oper", "");
        const std::string_view where = how.GetOrDef("send", "");
        if (when != (start ? "AfterOpen" : "AfterClose") || where != "upward")
            return refuse(
                owner, std::string(key) + "={" + set.Value(i) + "}",
                start ? "is not oper=AfterOpen,send={upward}" : "is not oper=AfterClose,send={upward}");
        (start ? asked.start : asked.stop) = true;
    }
    messages = asked;
    return true;
}

}  // namespace kep::host
