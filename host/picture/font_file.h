#ifndef KEP_HOST_FONT_FILE_H
#define KEP_HOST_FONT_FILE_H

#include <optional>
#include <string>
#include <vector>

namespace kep::host {

/** A font of those in a file. */
struct FontFile {
    std::string path;
    int index = 0;      /**< among the fonts of the file */
    std::string family; /**< as fontconfig names it; empty when the file was named */
};

// Any thread may call these.

/** The font that a name stands for: a file when it has a `/`. Nullopt when it is not installed. */
std::optional<FontFile> fontNamed(const std::string& name);
/** The font for stamps that ask for none; nullopt when none is installed. */
std::optional<FontFile> defaultFont();
/** An installed font that has a character. */
std::optional<FontFile> fontWith(char32_t character);

/** What a regular file of at most kLargestFontFile bytes contains. Nullopt, with `reason` filled, otherwise.
 */
std::optional<std::vector<unsigned char>> readFontFile(const std::string& path, std::string& reason);

}  // namespace kep::host

#endif
