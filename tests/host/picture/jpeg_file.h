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

/** The quantisation tables of a JPEG file, by index. */
std::map<int, QuantTable> quantTables(const std::filesystem::path& file);
/** The usual tables 0 and 1 of a quality. */
QuantTable lumaTable(int quality);
QuantTable chromaTable(int quality);

/** The picture in a JPEG file; null, with a failed expectation, if it does not decode. */
FramePtr decodeJpeg(const std::filesystem::path& file);
/** The number of the test picture in a JPEG file. */
std::optional<std::uint32_t> numberIn(const std::filesystem::path& file);

/** `codec,width,height,pixel format` as ffprobe reports them. */
std::string probed(const std::filesystem::path& file);

/** The names in a folder, including hidden ones. */
std::vector<std::string> namesIn(const std::filesystem::path& folder);

}  // namespace kep::host

#endif
