#include "text/attr_text.h"

#include <array>
#include <atomic>

namespace kep::host {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::string_view kNotInKeys = ",={}+";
constexpr std::size_t kNpos = std::string_view::npos;

std::atomic<TextErrorHook> errorHook{nullptr};

bool fail(TextError& error, std::size_t offset, std::string message) {
    error.offset = offset;
    error.message = std::move(message);
    return false;
}

std::size_t skipBlanks(std::string_view text, std::size_t from) {
    const std::size_t found = text.find_first_not_of(kBlanks, from);
    return found == kNpos ? text.size() : found;
}

/** Finds the brace that closes the one at `open`; kNpos, with `error` filled, if there is none. */
std::size_t findClosing(std::string_view text, std::size_t open, int maxNesting, TextError& error) {
    std::array<std::size_t, kMaxNesting + 1> opened;
    int depth = 0;
    for (std::size_t at = open;; ++at) {
        at = text.find_first_of("{}", at);
        if (at == kNpos) {
            fail(error, opened[depth - 1], "'{' is never closed");
            return kNpos;
        }
        if (text[at] == '{') {
            if (depth == maxNesting) {
                fail(error, at, "braces nest deeper than " + std::to_string(kMaxNesting));
                return kNpos;
            }
            opened[depth++] = at;
        } else if (--depth == 0) {
            return at;
        }
    }
}

/** Parses the value at `from`. Returns the position of the "," or the end after it; kNpos on error. */
std::size_t parseValue(std::string_view text, std::size_t from, AttrItem& item, TextError& error) {
    const std::size_t open = skipBlanks(text, from);
    if (open == text.size() || text[open] != '{') {
        std::size_t end = text.find_first_of(",{}", from);
        if (end == kNpos) end = text.size();
        if (end < text.size() && text[end] != ',') {
            fail(error, end, std::string("'") + text[end] + "' inside a value that is not in braces");
            return kNpos;
        }
        item.valueOffset = from;
        item.value = text.substr(from, end - from);
        return end;
    }
    const std::size_t close = findClosing(text, open, kMaxNesting, error);
    if (close == kNpos) return kNpos;
    item.valueOffset = open + 1;
    item.value = text.substr(open + 1, close - open - 1);
    const std::size_t end = skipBlanks(text, close + 1);
    if (end < text.size() && text[end] != ',') {
        fail(error, end, "',' is missing after '}'");
        return kNpos;
    }
    return end;
}

/** Parses the item at `from`. Returns the position of the "," or the end after it; kNpos on error. */
std::size_t parseItem(std::string_view text, std::size_t from, AttrItem& item, TextError& error) {
    item.keyOffset = skipBlanks(text, from);
    std::size_t stop = text.find_first_of(kNotInKeys, item.keyOffset);
    if (stop == kNpos) stop = text.size();
    item.key = trimmed(text.substr(item.keyOffset, stop - item.keyOffset));
    const bool ended = stop == text.size() || text[stop] == ',';
    if (item.key.empty() && (ended || text[stop] == '=')) {
        fail(error, item.keyOffset, "a key is missing");
    } else if (ended) {
        fail(error, stop, "'=' is missing after \"" + std::string(item.key) + "\"");
    } else if (text[stop] != '=') {
        fail(error, stop, std::string("'") + text[stop] + "' where a key is expected");
    } else {
        return parseValue(text, stop + 1, item, error);
    }
    return kNpos;
}

}  // namespace

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == kNpos) return text.substr(0, 0);
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::size_t findOutsideBraces(std::string_view text, std::size_t from, std::string_view stops,
                              TextError& error) {
    for (std::size_t at = from; at < text.size(); ++at) {
        if (stops.find(text[at]) != kNpos) return at;
        if (text[at] == '}') {
            fail(error, at, "'}' without a '{' before it");
            return kNpos;
        }
        if (text[at] == '{') {
            at = findClosing(text, at, kMaxNesting, error);
            if (at == kNpos) return kNpos;
        }
    }
    return text.size();
}

bool parseItems(std::string_view text, std::vector<AttrItem>& items, TextError& error) {
    items.clear();
    std::string_view content = trimmed(text);
    if (!content.empty() && content.front() == '{') {
        const std::size_t open = static_cast<std::size_t>(content.data() - text.data());
        const std::size_t close = findClosing(text, open, kMaxNesting + 1, error);
        if (close == kNpos) return false;
        if (close + 1 != open + content.size()) return fail(error, close + 1, "text after the closing '}'");
        content = trimmed(text.substr(open + 1, close - open - 1));
    }
    if (content.empty()) return true;
    const std::size_t start = static_cast<std::size_t>(content.data() - text.data());
    for (std::size_t at = 0;; ++at) {
        AttrItem item;
        at = parseItem(content, at, item, error);
        if (at == kNpos) {
            error.offset += start;
            items.clear();
            return false;
        }
        item.keyOffset += start;
        item.valueOffset += start;
        items.push_back(item);
        if (at == content.size()) return true;
    }
}

bool isKey(std::string_view key) {
    return !key.empty() && trimmed(key).size() == key.size() && key.find_first_of(kNotInKeys) == kNpos;
}

bool isValue(std::string_view value) {
    // Braces around the value add one level.
    const std::string braced = "{" + std::string(value) + "}";
    TextError ignored;
    return findClosing(braced, 0, kMaxNesting, ignored) == braced.size() - 1;
}

void appendValue(std::string& text, std::string_view value) {
    if (value.find_first_of(kNotInKeys) == kNpos && trimmed(value).size() == value.size()) {
        text += value;
        return;
    }
    text += '{';
    text += value;
    text += '}';
}

void setTextErrorHook(TextErrorHook hook) {
    errorHook.store(hook, std::memory_order_release);
}

void tellTextError(std::string_view text, const TextError& error) {
    if (const TextErrorHook hook = errorHook.load(std::memory_order_acquire)) hook(text, error);
}

}  // namespace kep::host
