#include "message.h"

namespace vncam {
namespace {

/** Removes the first item from the text; commas within braces belong to the item. */
std::string_view takeItem(std::string_view& text) {
    int depth = 0;
    std::size_t end = 0;
    for (; end < text.size() && (depth > 0 || text[end] != ','); ++end) {
        if (text[end] == '{') ++depth;
        if (text[end] == '}') --depth;
    }
    const std::string_view item = text.substr(0, end);
    text.remove_prefix(end < text.size() ? end + 1 : end);
    return item;
}

std::string withoutBraces(std::string_view value) {
    const bool braced = value.size() >= 2 && value.front() == '{' && value.back() == '}';
    return std::string(braced ? value.substr(1, value.size() - 2) : value);
}

}  // namespace

std::string messageValue(std::string_view message, std::string_view key) {
    while (!message.empty()) {
        const std::string_view item = takeItem(message);
        const std::size_t equals = item.find('=');
        if (equals != std::string_view::npos && item.substr(0, equals) == key)
            return withoutBraces(item.substr(equals + 1));
    }
    return {};
}

}  // namespace vncam
