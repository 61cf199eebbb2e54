#include "vornisa_text.h"

namespace vornisa {

void Argument::appendTo(std::string& text) const {
    if (text_)
        text += text_;
    else
        text += std::to_string(number_);
}

std::string compose(const char* pattern, std::initializer_list<Argument> arguments) {
    std::string text;
    const Argument* argument = arguments.begin();
    for (; *pattern; ++pattern) {
        if (*pattern == '#')
            argument++->appendTo(text);
        else
            text += *pattern;
    }
    return text;
}

}  // namespace vornisa
