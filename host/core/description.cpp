#include "core/description.h"

namespace kep::host {
namespace {

constexpr std::size_t npos = std::string_view::npos;

/** Hands each part of `text` between separators outside of braces to `take(part, offset)`, blanks left out.
 */
template <class Take>
bool split(std::string_view text, std::string_view separator, TextError& error, Take take) {
    if (trimmed(text).empty()) return true;
    for (std::size_t from = 0;; ++from) {
        const std::size_t end = findOutsideBraces(text, from, separator, error);
        if (end == npos) return false;
        const std::string_view part = trimmed(text.substr(from, end - from));
        const std::size_t offset = part.empty() ? end : static_cast<std::size_t>(part.data() - text.data());
        if (!take(part, offset)) return false;
        if (end == text.size()) return true;
        from = end;
    }
}

bool parseElement(std::string_view text, std::size_t offset, ElementText& element, TextError& error) {
    const auto fail = [&](std::size_t at, std::string message) {
        error.offset = offset + at;
        error.message = std::move(message);
        return false;
    };
    std::size_t stop = text.find_first_of(":,={}");
    if (stop == npos) stop = text.size();
    if (stop < text.size() && text[stop] != ':') {
        return fail(stop, std::string("'") + text[stop] + "' in the place of an element's type");
    }
    const std::string_view type = trimmed(text.substr(0, stop));
    if (type.empty()) return fail(0, "an element's type is missing");
    element.type = type;
    element.offset = offset;
    const std::size_t attributes = stop < text.size() ? stop + 1 : stop;
    element.attributesOffset = offset + attributes;

    std::vector<AttrItem> items;
    if (!parseItems(text.substr(attributes), items, error)) {
        error.offset += element.attributesOffset;
        return false;
    }
    for (const AttrItem& item : items) {
        element.attributes.Add(std::string(item.key).c_str(), std::string(item.value).c_str());
    }
    return true;
}

}  // namespace

bool isChain(std::string_view text) {
    const std::size_t first = text.find_first_of("=:+,{}");
    return !trimmed(text).empty() && (first == npos || text[first] == ':' || text[first] == '+');
}

bool parseChain(std::string_view text, std::vector<ElementText>& elements, TextError& error) {
    elements.clear();
    const bool parsed = split(text, "+", error, [&](std::string_view part, std::size_t offset) {
        ElementText element;
        if (!parseElement(part, offset, element, error)) return false;
        elements.push_back(element);
        return true;
    });
    if (!parsed) elements.clear();
    return parsed;
}

bool parseList(std::string_view text, std::vector<std::string>& entries, TextError& error) {
    entries.clear();
    const bool parsed = split(text, ",", error, [&](std::string_view part, std::size_t offset) {
        entries.emplace_back(part);
        if (!part.empty()) return true;
        error = {offset, "a list entry is missing"};
        return false;
    });
    if (!parsed) entries.clear();
    return parsed;
}

}  // namespace kep::host
