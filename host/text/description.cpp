#include "text/description.h"

#include <algorithm>

namespace kep::host {
namespace {

/** Characters of the text that an error line shows on either side of the error. */
constexpr std::size_t kShown = 60;

/** Splits `text` at separators outside of braces and passes each trimmed part to `take(part, offset)`. */
template <class Take>
bool split(std::string_view text, std::string_view separator, TextError& error, Take take) {
    if (trimmed(text).empty()) return true;
    for (std::size_t from = 0;; ++from) {
        const std::size_t end = findOutsideBraces(text, from, separator, error);
        if (end == std::string_view::npos) return false;
        const std::string_view part = trimmed(text.substr(from, end - from));
        const std::size_t offset = part.empty() ? end : static_cast<std::size_t>(part.data() - text.data());
        if (!take(part, offset)) return false;
        if (end == text.size()) return true;
        from = end;
    }
}

}  // namespace

std::string Description::place(std::size_t offset) const {
    const std::size_t at = static_cast<std::size_t>(text_.data() - whole_.data()) + offset;
    const std::size_t from = at > kShown ? at - kShown : 0;
    const std::size_t to = std::min(whole_.size(), at + kShown);
    std::string place = " at position " + std::to_string(at + 1) + " of \"";
    if (from > 0) place += "...";
    place += whole_.substr(from, to - from);
    if (to < whole_.size()) place += "...";
    return place + "\"";
}

std::string Description::placeOfType() const {
    // An element begins with its class; a description has an item `type`.
    std::size_t offset = 0;
    for (const Description& each : values_) {
        if (!isElement_ && each.key_ == "type") offset = offsetOf(each.text_);
    }
    return place(offset);
}

bool Description::isChain() const {
    const std::size_t first = text_.find_first_of("=:+,{}");
    return !trimmed(text_).empty() &&
           (first == std::string_view::npos || text_[first] == ':' || text_[first] == '+');
}

bool Description::fill(std::string_view text, TextError& error) {
    std::vector<AttrItem> items;
    if (!host::parseItems(text, items, error)) return false;
    attributes_ = std::make_unique<base::AttrSet>();
    values_.reserve(items.size());
    for (const AttrItem& item : items) {
        attributes_->Add(std::string(item.key).c_str(), std::string(item.value).c_str());
        Description value(whole_, item.value);
        value.key_ = item.key;
        values_.push_back(std::move(value));
    }
    return true;
}

bool Description::parseItems(TextError& error) {
    return attributes_ || fill(text_, error);
}

bool Description::parseElement(TextError& error) {
    const auto fail = [&](std::size_t at, std::string message) {
        error = {at, std::move(message)};
        return false;
    };
    isElement_ = true;
    const std::size_t stop = std::min(text_.find_first_of(":,={}"), text_.size());
    if (stop < text_.size() && text_[stop] != ':') {
        return fail(stop, std::string("'") + text_[stop] + "' where an element's type is expected");
    }
    const std::string_view type = trimmed(text_.substr(0, stop));
    if (type.empty()) return fail(0, "an element's type is missing");
    const std::string_view items = text_.substr(std::min(stop + 1, text_.size()));
    if (!fill(items, error)) {
        error.offset += offsetOf(items);
        return false;
    }
    attributes_->Add("type", std::string(type).c_str());
    return true;
}

bool Description::parseChain(TextError& error) {
    if (!elements_.empty()) return true;
    const bool parsed = split(text_, "+", error, [&](std::string_view part, std::size_t offset) {
        Description element(whole_, part);
        if (!element.parseElement(error)) {
            error.offset += offset;
            return false;
        }
        elements_.push_back(std::move(element));
        return true;
    });
    if (!parsed) elements_.clear();
    return parsed;
}

Description* Description::value(std::string_view key) {
    const auto found = std::find_if(values_.rbegin(), values_.rend(),
                                    [key](const Description& value) { return value.key_ == key; });
    return found == values_.rend() ? nullptr : &*found;
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
