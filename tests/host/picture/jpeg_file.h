#ifndef VORNISA_JPEG_FILE_H
#define VORNISA_JPEG_FILE_H

#include <array>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "media/common/ffmpeg.h"

namespace kep::host {

using QuantTable = std::array<int, 64>; /**< in the order of the file */

/** The quantisation tables of a JPEG file, by their number. */
std::map<int, QuantTable> quantTables(const std::filesystem::path& file);
/** What tables 0 and 1 are at a quality everywhere. */
QuantTable lumaTable(int quality);
QuantTable chromaTable(int quality);

/** The picture in a JPEG file; null, with a failed expectation, when it does not decode. */
FramePtr decodeJpeg(const std::filesystem::path& file);
/** The number of the test picture in a JPEG file. */
std::optional<std::uint32_t> numberIn(const std::filesystem::path& file);

/** `codec,width,height,pixel format` as another program sees them. */
std::string probed(const std::filesystem::path& file);

/** The names in a folder, hidden ones too. */
std::vector<std::string> namesIn(const std::filesystem::path& folder);

}  // namespace kep::host

#endif
