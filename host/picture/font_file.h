#ifndef KEP_HOST_FONT_FILE_H
#define KEP_HOST_FONT_FILE_H

#include <optional>
#include <string>
#include <vector>

namespace kep::host {

/** A font in a font file. */
struct FontFile {
    std::string path;
    int index = 0;      /**< among the fonts of the file */
    std::string family; /**< as fontconfig names it; empty if a file was given */
};

// Any thread may call these.

/** The font for a fontconfig pattern, or for a file if `name` has a `/`. Nullopt when it is not installed. */
std::optional<FontFile> fontNamed(const std::string& name);
/** The font for stamps without one of their own; nullopt when none is installed. */
std::optional<FontFile> defaultFont();
/** An installed font that has a character; nullopt when there is none. */
std::optional<FontFile> fontWith(char32_t character);

/** Reads a regular file of at most 64 MiB. Nullopt, with `reason` filled, for any other. */
std::optional<std::vector<unsigned char>> readFontFile(const std::string& path, std::string& reason);

}  // namespace kep::host

#endif
