#include "picture/stamp_text.h"

#include <array>
#include <cstdio>
#include <ctime>

namespace kep::host {
namespace {

using std::chrono::system_clock;

constexpr char32_t kReplacement = 0xFFFD;

/** Length of the strftime field at the start of `text`, which starts with `%`; 0 if it is not a field. */
std::size_t fieldLength(std::string_view text) {
    constexpr std::string_view flags = "_-0^#";
    constexpr std::string_view modifiers = "EO";
    constexpr std::string_view conversions = "%aAbBcCdDeFgGhHIjklmMnpPrRsStTuUVwWxXyYzZ";
    std::size_t at = 1;
    if (at < text.size() && flags.find(text[at]) != std::string_view::npos) ++at;
    if (at < text.size() && modifiers.find(text[at]) != std::string_view::npos) ++at;
    return at < text.size() && conversions.find(text[at]) != std::string_view::npos ? at + 1 : 0;
}

std::string withTime(std::string_view pattern, system_clock::time_point time) {
    const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch()).count();
    const auto inSecond = static_cast<int>(((milliseconds % 1000) + 1000) % 1000);
    const auto seconds = static_cast<std::time_t>((milliseconds - inSecond) / 1000);
    std::tm local{};
    localtime_r(&seconds, &local);

    std::string text;
    while (!pattern.empty()) {
        std::size_t used = 1;
        if (pattern.starts_with("%3N")) {
            char figures[4];
            std::snprintf(figures, sizeof figures, "%03d", inSecond % 1000);
            text += figures;
            used = 3;
        } else if (const std::size_t field = pattern[0] == '%' ? fieldLength(pattern) : 0; field > 0) {
            // The name of a time zone may have any length: a longer one is dropped.
            std::array<char, 128> filled;
            text.append(filled.data(), std::strftime(filled.data(), filled.size(),
                                                     std::string(pattern.substr(0, field)).c_str(), &local));
            used = field;
        } else {
            text += pattern[0];
        }
        pattern.remove_prefix(used);
    }
    return text;
}

/** Decodes one character of UTF-8 and removes it from the front. */
char32_t take(std::string_view& text) {
    const auto first = static_cast<unsigned char>(text[0]);
    text.remove_prefix(1);
    if (first < 0x80) return first;
    const std::size_t more = first >= 0xC2 && first < 0xE0   ? 1
                             : first >= 0xE0 && first < 0xF0 ? 2
                             : first >= 0xF0 && first < 0xF5 ? 3
                                                             : 0;
    if (more == 0 || text.size() < more) return kReplacement;
    char32_t character = first & (0x3F >> more);
    for (std::size_t i = 0; i < more; ++i) {
        const auto next = static_cast<unsigned char>(text[i]);
        if ((next & 0xC0) != 0x80) return kReplacement;
        character = character << 6 | (next & 0x3F);
    }
    constexpr std::array<char32_t, 4> least = {0, 0x80, 0x800, 0x10000};
    const bool isSurrogate = character >= 0xD800 && character < 0xE000;
    if (character < least[more] || isSurrogate || character > 0x10FFFF) return kReplacement;
    text.remove_prefix(more);
    return character;
}

}  // namespace

std::vector<std::u32string> stampLines(std::string_view pattern, system_clock::time_point time) {
    const std::string text = withTime(pattern, time);
    std::vector<std::u32string> lines(1);
    for (std::string_view rest = text; !rest.empty();) {
        const char32_t character = take(rest);
        if (character == '\n')
            lines.emplace_back();
        else if (character == '\t')
            lines.back() += ' ';
        else if (character >= ' ' && character != 0x7F)
            lines.back() += character;
    }
    return lines;
}

}  // namespace kep::host
