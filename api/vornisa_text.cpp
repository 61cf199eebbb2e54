#include "vornisa_text.h"

namespace vornisa {

void Filling::appendTo(std::string& text) const {
    if (text_)
        text += text_;
    else
        text += std::to_string(number_);
}

std::string compose(const char* pattern, std::initializer_list<Filling> fillings) {
    std::string text;
    const Filling* filling = fillings.begin();
    for (; *pattern; ++pattern) {
        if (*pattern == '#')
            filling++->appendTo(text);
        else
            text += *pattern;
    }
    return text;
}

}  // namespace vornisa
