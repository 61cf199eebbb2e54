#ifndef KEP_HOST_ATTR_TEXT_H
#define KEP_HOST_ATTR_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "kep/visibility.h"

namespace kep::host {

/** Maximum depth of nested braces. Larger costs stack in the parser; 64 is far above any real description. */
inline constexpr int kMaxNesting = 64;

/** Why a text was refused, and where: `offset` counts characters from 0. */
struct TextError {
    std::size_t offset = 0;
    std::string message;
};

/** One `key=value` of a text, by reference into it; a braced value without its braces. */
struct AttrItem {
    std::string_view key;
    std::string_view value;
    std::size_t keyOffset = 0;
    std::size_t valueOffset = 0;
};

/**
 * Parses `key=value` items separated by ",". The whole text may be in braces; blanks around keys are
 * dropped. The contents of a braced value are checked for balanced braces only.
 *
 * @param[out] items the items in text order; keys may repeat
 * @param[out] error filled when false is returned
 */
KEP_API bool parseItems(std::string_view text, std::vector<AttrItem>& items, TextError& error);

/** Whether `key` is valid as a key. */
KEP_API bool isKey(std::string_view key);

/** Whether `value` is valid as a value, in braces if necessary. */
KEP_API bool isValue(std::string_view value);

/** Appends a value, in braces if it would not parse back unchanged without them. */
KEP_API void appendValue(std::string& text, std::string_view value);

/** `text` without the blanks at its ends. */
KEP_API std::string_view trimmed(std::string_view text);

/**
 * Finds the first character of `stops` outside of braces, at or after `from`. Returns the length of the text
 * if there is none; npos, with `error` filled, if braces before it are unbalanced or nest too deep.
 */
KEP_API std::size_t findOutsideBraces(std::string_view text, std::size_t from, std::string_view stops,
                                      TextError& error);

/** Called for every text that AttrSet or IUrl refuses. */
using TextErrorHook = void (*)(std::string_view text, const TextError& error);

/** Replaces the hook; null removes it. */
KEP_API void setTextErrorHook(TextErrorHook hook);
void tellTextError(std::string_view text, const TextError& error);

}  // namespace kep::host

#endif
