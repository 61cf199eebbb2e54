#include "jpeg_file.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "file_contents.h"
#include "stream_fixture.h"

namespace kep::host {

namespace {

// The tables of ITU-T T.81 (JPEG), annex K, row by row.
constexpr QuantTable standardLuma = {
    16, 11, 10, 16, 24,  40,  51,  61,  12, 12, 14, 19, 26,  58,  60,  55,                               //
    14, 13, 16, 24, 40,  57,  69,  56,  14, 17, 22, 29, 51,  87,  80,  62,                               //
    18, 22, 37, 56, 68,  109, 103, 77,  24, 35, 55, 64, 81,  104, 113, 92,                               //
    49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100, 103, 99};                              //
constexpr QuantTable standardChroma = {17, 18, 24, 47, 99, 99, 99, 99, 18, 21, 26, 66, 99, 99, 99, 99,   //
                                       24, 26, 56, 99, 99, 99, 99, 99, 47, 66, 99, 99, 99, 99, 99, 99,   //
                                       99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99,   //
                                       99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99};  //

/** The zigzag order in which the file stores the tables. */
std::array<std::size_t, 64> diagonals() {
    std::array<std::size_t, 64> places{};
    std::size_t count = 0;
    for (std::size_t sum = 0; sum < 15; ++sum) {
        for (std::size_t i = 0; i <= sum; ++i) {
            const std::size_t row = sum % 2 ? i : sum - i;
            const std::size_t column = sum - row;
            if (row < 8 && column < 8) places[count++] = row * 8 + column;
        }
    }
    return places;
}

QuantTable scaled(const QuantTable& standard, int quality) {
    const int percent = quality < 50 ? 5000 / quality : 200 - 2 * quality;
    QuantTable table{};
    const auto places = diagonals();
    for (std::size_t i = 0; i < 64; ++i)
        table[i] = std::clamp((standard[places[i]] * percent + 50) / 100, 1, 255);
    return table;
}

}  // namespace

QuantTable lumaTable(int quality) {
    return scaled(standardLuma, quality);
}
QuantTable chromaTable(int quality) {
    return scaled(standardChroma, quality);
}

std::map<int, QuantTable> quantTables(const std::filesystem::path& file) {
    const std::vector<std::uint8_t> bytes = contentsOf<std::vector<std::uint8_t>>(file);
    std::map<int, QuantTable> tables;
    // Marker segments with a length, up to the start of scan.
    for (std::size_t at = 2; at + 4 <= bytes.size() && bytes[at + 1] != 0xda;) {
        const std::size_t length = static_cast<std::size_t>(bytes[at + 2] << 8 | bytes[at + 3]);
        if (bytes[at + 1] == 0xdb) {
            for (std::size_t table = at + 4; table + 65 <= at + 2 + length; table += 65) {
                std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(table) + 1, 64,
                            tables[bytes[table]].begin());
            }
        }
        at += 2 + length;
    }
    return tables;
}

FramePtr decodeJpeg(const std::filesystem::path& file) {
    const std::vector<std::uint8_t> bytes = contentsOf<std::vector<std::uint8_t>>(file);
    EXPECT_FALSE(bytes.empty()) << file;
    if (bytes.empty()) return nullptr;
    const CodecPtr codec(avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_MJPEG)));
    codec->thread_count = 1;
    codec->err_recognition = AV_EF_EXPLODE;
    avcodec_open2(codec.get(), nullptr, nullptr);
    const PacketPtr packet(av_packet_alloc());
    av_new_packet(packet.get(), static_cast<int>(bytes.size()));
    std::copy(bytes.begin(), bytes.end(), packet->data);
    FramePtr frame(av_frame_alloc());
    int result = avcodec_send_packet(codec.get(), packet.get());
    if (result >= 0) result = avcodec_receive_frame(codec.get(), frame.get());
    EXPECT_GE(result, 0) << file << ": " << ffmpegError(result);
    return result >= 0 ? std::move(frame) : nullptr;
}

std::optional<std::uint32_t> numberIn(const std::filesystem::path& file) {
    const FramePtr picture = decodeJpeg(file);
    return picture ? readPictureNumber(lumaOf(*picture)) : std::nullopt;
}

std::string probed(const std::filesystem::path& file) {
    return outputOf(
        "ffprobe -v error -show_entries stream=codec_name,width,height,pix_fmt"
        " -of csv=p=0 '" +
        file.string() + "'");
}

std::vector<std::string> namesIn(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace kep::host
