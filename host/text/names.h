#ifndef KEP_HOST_NAMES_H
#define KEP_HOST_NAMES_H

#include <string>
#include <string_view>

namespace kep::host {

/** `name` in lower case, for comparing names without regard to case. */
inline std::string foldedName(std::string_view name) {
    std::string folded(name);
    for (char& letter : folded) {
        if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter + ('a' - 'A'));
    }
    return folded;
}

/** `name` in the form in which class names are compared: `pv-yuv-src` and `PvYuvSrc` are equal. */
inline std::string foldedClassName(std::string_view name) {
    std::string folded = foldedName(name);
    std::erase(folded, '-');
    return folded;
}

}  // namespace kep::host

#endif
