#include "objects/stream_choice.h"

#include <algorithm>

#include "objects/log.h"
#include "text/attr_text.h"
#include "text/convert.h"

namespace kep::host {

std::optional<StreamChoice> parseStreamChoice(std::string_view text, std::string& problem) {
    StreamChoice choice;
    text = trimmed(text);
    if (text == "none") return choice;
    if (text == "all") return choice.set();
    if (text.empty()) return choice.set(static_cast<std::size_t>(LogStream::error));
    for (std::size_t from = 0; from <= text.size();) {
        const std::size_t end = std::min(text.find(',', from), text.size());
        const std::string word(trimmed(text.substr(from, end - from)));
        int number = -1;
        if (!convert(word.c_str(), number) || number < 0 || number >= kDebugStreams) {
            problem = "\"" + word + "\" at position " + std::to_string(from + 1) +
                      " is not a stream number from 0 to " + std::to_string(kDebugStreams - 1) +
                      "; choose numbers separated by \",\", or all, or none";
            return std::nullopt;
        }
        choice.set(static_cast<std::size_t>(number));
        from = end + 1;
    }
    return choice;
}

}  // namespace kep::host
