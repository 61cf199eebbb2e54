// The position and colour of painted zones.
#include "picture/zones.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <random>

#include "picture/picture.h"
#include "reference_colour.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace kep::host {
namespace {

constexpr std::uint32_t kGrey = 0x00808080;

shm::shm_rects_t tableOf(const shm::shm_rect_t& zone) {
    shm::shm_rects_t table{};
    table.rects[0] = zone;
    table.width = 1920;
    table.height = 1080;
    table.valid = true;
    return table;
}

std::vector<Zone> zonesOf(const shm::shm_rects_t& table, int width, int height) {
    ZoneTable bytes;
    std::memcpy(bytes.data(), &table, sizeof table);
    return zonesIn(bytes, width, height);
}

/** Left, top, right and bottom of the only zone in a table; nothing if it is left out. */
std::vector<int> edgesOf(int x, int y, int w, int h, int width, int height) {
    const auto zones = zonesOf(tableOf({true, x, y, w, h, kGrey}), width, height);
    if (zones.empty()) return {};
    return {zones[0].left, zones[0].top, zones[0].right, zones[0].bottom};
}

using Edges = std::vector<int>;

TEST(ZoneEdges, ArePixelsOfTheReferenceFrame) {
    EXPECT_EQ(edgesOf(100, 50, 200, 20, 1920, 1080), (Edges{100, 50, 300, 70}));
    EXPECT_EQ(edgesOf(300, 300, 600, 300, 640, 360), (Edges{100, 100, 300, 200}));
    EXPECT_EQ(edgesOf(0, 0, 1920, 1080, 3840, 2160), (Edges{0, 0, 3840, 2160}));
}

TEST(ZoneEdges, ReachOutwardToWholePairsOfPixels) {
    EXPECT_EQ(edgesOf(101, 51, 10, 10, 1920, 1080), (Edges{100, 50, 112, 62}));
    EXPECT_EQ(edgesOf(100, 100, 10, 10, 640, 360), (Edges{32, 32, 38, 38}));
    EXPECT_EQ(edgesOf(1919, 1079, 1, 1, 16, 16), (Edges{14, 14, 16, 16}));
}

TEST(ZoneEdges, AreCutOffAtThePicture) {
    EXPECT_EQ(edgesOf(-50, -20, 100, 40, 1920, 1080), (Edges{0, 0, 50, 20}));
    EXPECT_EQ(edgesOf(1800, 1000, INT_MAX, INT_MAX, 1920, 1080), (Edges{1800, 1000, 1920, 1080}));
    EXPECT_EQ(edgesOf(INT_MIN, INT_MIN, INT_MAX, INT_MAX, 1920, 1080), Edges{});
    EXPECT_EQ(edgesOf(0, 0, 1935, 1095, 1280, 720), (Edges{0, 0, 1280, 720}));
}

TEST(ZoneEdges, AreLeftOutIfEmpty) {
    for (const auto& [x, y, w, h] : std::vector<std::array<int, 4>>{{10, 10, 0, 10},
                                                                    {10, 10, 10, 0},
                                                                    {10, 10, -10, 10},
                                                                    {10, 10, 10, INT_MIN},
                                                                    {-10, 10, 10, 10},
                                                                    {1920, 10, 10, 10},
                                                                    {10, 1080, 10, 10},
                                                                    {INT_MAX, INT_MAX, INT_MAX, INT_MAX}})
        EXPECT_EQ(edgesOf(x, y, w, h, 1920, 1080), Edges{}) << x << ' ' << y << ' ' << w << ' ' << h;
}

TEST(ZoneTables, ShowOnlyWhatIsEnabled) {
    auto table = tableOf({false, 0, 0, 10, 10, kGrey});
    table.rects[15] = {true, 20, 20, 10, 10, kGrey};
    const auto zones = zonesOf(table, 1920, 1080);
    ASSERT_EQ(zones.size(), 1u);
    EXPECT_EQ(zones[0].left, 20);
    table.valid = false;
    EXPECT_TRUE(zonesOf(table, 1920, 1080).empty());
}

TEST(ZoneTables, OfAnotherReferenceFrameAreScaledByIt) {
    auto table = tableOf({true, 64, 36, 64, 36, kGrey});
    table.width = 640;
    table.height = 360;
    auto zones = zonesOf(table, 1280, 720);
    ASSERT_EQ(zones.size(), 1u);
    EXPECT_EQ(zones[0].right, 256);
    for (const int none : {0, -640, INT_MIN}) {
        table.width = none;
        zones = zonesOf(table, 1920, 1080);
        ASSERT_EQ(zones.size(), 1u) << none;
        EXPECT_EQ(zones[0].right, 128) << "as for 1920x1080";
    }
}

TEST(ZoneTables, OfAnyBytesStayWithinThePicture) {
    std::mt19937 random(14);
    const auto sizes = std::to_array<std::pair<int, int>>({{16, 16}, {640, 360}, {1920, 1080}, {8192, 4320}});
    std::size_t seen = 0;
    for (int i = 0; i < 20'000; ++i) {
        ZoneTable table;
        for (unsigned char& byte : table) byte = static_cast<unsigned char>(random());
        // Mostly small numbers, so that some zones are inside the picture.
        if (i % 4 != 0)
            for (std::size_t at = 2; at < table.size(); at += 4)
                table[at] = table[at + 1] = i % 8 == 1 ? 0xff : 0;
        const auto [width, height] = sizes[random() % sizes.size()];
        for (const Zone& zone : zonesIn(table, width, height)) {
            ++seen;
            ASSERT_TRUE(0 <= zone.left && zone.left < zone.right && zone.right <= width) << i;
            ASSERT_TRUE(0 <= zone.top && zone.top < zone.bottom && zone.bottom <= height) << i;
            ASSERT_EQ((zone.left | zone.top | zone.right | zone.bottom) % 2, 0) << i;
        }
    }
    EXPECT_GT(seen, 10'000u);
}

TEST(ZoneTables, CoverTheirWholeArea) {
    std::mt19937 random(15);
    const auto below = [&](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
    for (int i = 0; i < 20'000; ++i) {
        const int width = 16 + 2 * below(2000);
        const int height = 16 + 2 * below(1200);
        const int x = below(1920), y = below(1080);
        const int w = 1 + below(1920 - x), h = 1 + below(1080 - y);
        const Edges edges = edgesOf(x, y, w, h, width, height);
        ASSERT_EQ(edges.size(), 4u) << i;
        ASSERT_LE(edges[0], double(x) * width / 1920) << i;
        ASSERT_LE(edges[1], double(y) * height / 1080) << i;
        ASSERT_GE(edges[2], double(x + w) * width / 1920) << i;
        ASSERT_GE(edges[3], double(y + h) * height / 1080) << i;
    }
}

TEST(PaintedZones, AreStackedInOrder) {
    PicturePool pool;
    const FramePtr picture = pool.get(64, 32);
    ASSERT_TRUE(picture);
    picture->color_range = AVCOL_RANGE_JPEG;
    std::memset(picture->data[0], 1, 64 * 32 * 3 / 2);
    paintZones(*picture, {{8, 4, 40, 20, {100, 110, 120}}, {30, 10, 64, 32, {50, 128, 128}}});
    const auto at = [&](int x, int y) {
        const int chroma = y / 2 * picture->linesize[1] + x / 2;
        return YuvColour{picture->data[0][y * picture->linesize[0] + x], picture->data[1][chroma],
                         picture->data[2][chroma]};
    };
    for (int y = 0; y < 32; ++y) {
        for (int x = 0; x < 64; ++x) {
            const bool isSecond = x >= 30 && y >= 10;
            const bool isFirst = !isSecond && x >= 8 && x < 40 && y >= 4 && y < 20;
            const YuvColour expected = isSecond  ? YuvColour{50, 128, 128}
                                       : isFirst ? YuvColour{100, 110, 120}
                                                 : YuvColour{1, 1, 1};
            ASSERT_EQ(at(x, y), expected) << x << ' ' << y;
        }
    }
}

/** Converts a colour as the plug-in does for the table. */
YuvColour inTable(const std::array<std::uint8_t, 3>& rgb) {
    const auto [r, g, b] = rgb;
    return {static_cast<std::uint8_t>((2990 * r + 5870 * g + 1140 * b) / 10000),
            static_cast<std::uint8_t>((-1687 * r - 3313 * g + 5000 * b + 1280000) / 10000),
            static_cast<std::uint8_t>((5000 * r - 4187 * g - 813 * b + 1280000) / 10000)};
}

TEST(ZoneColours, AreThoseOfTheRangeAndMatrixOfThePicture) {
    const FramePtr picture(av_frame_alloc());
    picture->height = 360;
    for (const AVColorSpace colours : {AVCOL_SPC_BT709, AVCOL_SPC_SMPTE170M}) {
        for (const AVColorRange range : {AVCOL_RANGE_MPEG, AVCOL_RANGE_JPEG}) {
            picture->colorspace = colours;
            picture->color_range = range;
            for (const auto& rgb : std::vector<std::array<std::uint8_t, 3>>{{0, 0, 0},
                                                                            {255, 255, 255},
                                                                            {255, 0, 0},
                                                                            {0, 255, 0},
                                                                            {0, 0, 255},
                                                                            {128, 128, 128},
                                                                            {200, 30, 120},
                                                                            {17, 180, 90}}) {
                const YuvColour found = inColoursOf(*picture, inTable(rgb));
                const YuvColour expected = referenceColour(rgb, colours, range);
                // The values in the table are rounded down.
                const std::string what = av_color_space_name(colours) + std::string(" ") +
                                         av_color_range_name(range) + " " + std::to_string(rgb[0]) + "," +
                                         std::to_string(rgb[1]) + "," + std::to_string(rgb[2]);
                EXPECT_NEAR(found.y, expected.y, 2) << what;
                EXPECT_NEAR(found.u, expected.u, 2) << what;
                EXPECT_NEAR(found.v, expected.v, 2) << what;
            }
        }
    }
}

TEST(ZoneColours, DependOnTheHeightIfNotTagged) {
    const FramePtr picture(av_frame_alloc());
    picture->colorspace = AVCOL_SPC_UNSPECIFIED;
    picture->height = 576;
    const YuvColour red = inTable({255, 0, 0});
    EXPECT_NEAR(inColoursOf(*picture, red).y, 81, 1);
    picture->height = 720;
    EXPECT_NEAR(inColoursOf(*picture, red).y, 63, 1);
}

}  // namespace
}  // namespace kep::host
