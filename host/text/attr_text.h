#ifndef KEP_HOST_ATTR_TEXT_H
#define KEP_HOST_ATTR_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "kep/visibility.h"

namespace kep::host {

/** How deep braces may be nested in a text. */
inline constexpr int kMaxNesting = 64;

/** Why a text was refused, and where: `offset` counts characters from 0. */
struct TextError {
    std::size_t offset = 0;
    std::string message;
};

/** One `key=value` of a text, by reference into it. A value in braces comes without them. */
struct AttrItem {
    std::string_view key;
    std::string_view value;
    std::size_t keyOffset = 0;
    std::size_t valueOffset = 0;
};

/**
 * Splits `key=value` items separated by "," apart. The text may stand in braces as a whole; blanks around
 * keys are left out. What is inside a braced value is checked for balanced braces only.
 *
 * @param[out] items the items in their order; keys may repeat
 * @param[out] error filled when false is returned
 */
KEP_API bool parseItems(std::string_view text, std::vector<AttrItem>& items, TextError& error);

/** Whether `key` can stand as a key in text. */
KEP_API bool isKey(std::string_view key);

/** Whether `value` can stand as a value in text, in braces if need be. */
KEP_API bool isValue(std::string_view value);

/** Appends a value, in braces where it would not be read back whole without. */
KEP_API void appendValue(std::string& text, std::string_view value);

/** `text` less the blanks at its ends. */
KEP_API std::string_view trimmed(std::string_view text);

/**
 * The first character of `stops` outside of braces, at or after `from`; the length of the text when there is
 * none. npos, and `error` filled, when the braces on the way do not match or nest too deep.
 */
KEP_API std::size_t findOutsideBraces(std::string_view text, std::size_t from, std::string_view stops,
                                      TextError& error);

/** Told of every text that AttrSet refuses. */
using TextErrorHook = void (*)(std::string_view text, const TextError& error);

/** Replaces the hook; null takes it away. */
KEP_API void setTextErrorHook(TextErrorHook hook);
void tellTextError(std::string_view text, const TextError& error);

}  // namespace kep::host

#endif
