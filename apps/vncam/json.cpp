#include "json.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

namespace vncam {
namespace {

/** Length of the UTF-8 character at the beginning of a text, in bytes; 0 when it is invalid. */
std::size_t characterBytes(std::string_view text) {
    const auto byte = [&](std::size_t i) {
        return static_cast<unsigned char>(i < text.size() ? text[i] : 0);
    };
    const unsigned first = byte(0);
    const std::size_t count = first < 0x80    ? 1
                              : first < 0xc2  ? 0
                              : first < 0xe0  ? 2
                              : first < 0xf0  ? 3
                              : first <= 0xf4 ? 4
                                              : 0;
    for (std::size_t i = 1; i < count; ++i)
        if ((byte(i) & 0xc0) != 0x80) return 0;
    const unsigned second = byte(1);
    // Overlong, a surrogate, or above U+10FFFF.
    const bool isOutside = (first == 0xe0 && second < 0xa0) || (first == 0xed && second > 0x9f) ||
                           (first == 0xf0 && second < 0x90) || (first == 0xf4 && second > 0x8f);
    return isOutside ? 0 : count;
}

}  // namespace

std::string jsonText(const std::string& text) {
    std::string all = "\"";
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t count = characterBytes(std::string_view(text).substr(at));
        const char c = text[at];
        if (count != 1) all += count ? text.substr(at, count) : "\\ufffd";
        at += std::max<std::size_t>(count, 1);
        if (count != 1) continue;
        if (c == '"' || c == '\\') all += '\\';
        if (static_cast<unsigned char>(c) >= 0x20) {
            all += c;
        } else {
            std::array<char, 8> escaped{};
            std::snprintf(escaped.data(), escaped.size(), "\\u%04x", static_cast<unsigned char>(c));
            all += escaped.data();
        }
    }
    return all + "\"";
}

}  // namespace vncam
