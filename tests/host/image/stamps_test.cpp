// The position and the contents of painted stamps.
#include "picture/stamps.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <climits>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>

#include "error_lines.h"
#include "picture/picture.h"
#include "reference_colour.h"

namespace kep::host {
namespace {

using Time = std::chrono::system_clock::time_point;

constexpr const char* kBlock = "\u2588";  // fills its cell from edge to edge
constexpr std::uint8_t kGrey = 100;

StampRecord stampOf(const char* pattern, int x, int y, std::uint32_t colour = 0xFFFFFF) {
    StampRecord stamp{};
    stamp.draw = 1;
    stamp.referenceWidth = 1920;
    stamp.referenceHeight = 1080;
    stamp.x = x;
    stamp.y = y;
    stamp.w = 16;
    stamp.h = 32;
    stamp.colour = colour;
    std::strncpy(stamp.pattern, pattern, sizeof stamp.pattern);
    return stamp;
}

StampTable tableOf(const StampRecord& stamp) {
    StampTable table{};
    table.stamps[5] = stamp;
    return table;
}

void setFont(StampRecord& stamp, const std::string& font) {
    std::strncpy(stamp.font, font.c_str(), sizeof stamp.font);
}

class PaintedStamps : public testing::Test {
  protected:
    FramePtr grey(int width = 640, int height = 360) {
        FramePtr picture = pool_.get(width, height);
        picture->colorspace = AVCOL_SPC_BT709;
        std::memset(picture->data[0], kGrey, bytesOf(*picture));
        return picture;
    }
    static std::size_t bytesOf(const AVFrame& picture) {
        return static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height) * 3 / 2;
    }
    FramePtr painted(const StampRecord& stamp, int width = 640, int height = 360) {
        FramePtr picture = grey(width, height);
        painter_.paint(*picture, tableOf(stamp), Time());
        return picture;
    }
    static YuvColour at(const AVFrame& picture, int x, int y) {
        const int chroma = y / 2 * picture.linesize[1] + x / 2;
        return {picture.data[0][y * picture.linesize[0] + x], picture.data[1][chroma],
                picture.data[2][chroma]};
    }
    static std::string bytes(const AVFrame& picture) {
        return {reinterpret_cast<const char*>(picture.data[0]), bytesOf(picture)};
    }
    /** Left, top, right and bottom of the painted area; nothing if nothing is painted. */
    static std::vector<int> paintedPart(const AVFrame& picture) {
        int left = INT_MAX, top = INT_MAX, right = 0, bottom = 0;
        for (int y = 0; y < picture.height; ++y) {
            for (int x = 0; x < picture.width; ++x) {
                if (at(picture, x, y) == YuvColour{kGrey, kGrey, kGrey}) continue;
                left = std::min(left, x);
                top = std::min(top, y);
                right = std::max(right, x + 1);
                bottom = std::max(bottom, y + 1);
            }
        }
        if (right == 0) return {};
        return {left, top, right, bottom};
    }

    StampPainter painter_;

  private:
    PicturePool pool_;
};

using Part = std::vector<int>;

TEST_F(PaintedStamps, LieWhereTheReferenceFrameSays) {
    auto stamp = stampOf("abc%nde", 300, 150);
    stamp.background = 0xFF000000;
    // At 100, 50, three digits of 5 by 11 pixels in two lines, rounded to whole pairs.
    EXPECT_EQ(paintedPart(*painted(stamp)), (Part{100, 50, 116, 72}));
    EXPECT_EQ(paintedPart(*painted(stamp, 1920, 1080)), (Part{300, 150, 348, 214}));
    stamp.referenceWidth = stamp.referenceHeight = 0;
    EXPECT_EQ(paintedPart(*painted(stamp, 1920, 1080)), (Part{300, 150, 348, 214}));
    stamp.referenceWidth = 640;
    stamp.referenceHeight = 360;
    EXPECT_EQ(paintedPart(*painted(stamp)), (Part{300, 150, 348, 214}));
}

TEST_F(PaintedStamps, AreCutOffAtThePicture) {
    auto stamp = stampOf("abcdef", -30, -9);
    stamp.background = 0xFF000000;
    EXPECT_EQ(paintedPart(*painted(stamp)), (Part{0, 0, 20, 8}));
    stamp.x = 1905;
    stamp.y = 1064;
    EXPECT_EQ(paintedPart(*painted(stamp)), (Part{634, 354, 640, 360}));
    for (const auto& [x, y] : std::vector<std::pair<int, int>>{
             {1920, 0}, {0, 1080}, {INT_MIN, 0}, {0, INT_MIN}, {INT_MAX, INT_MAX}, {-300, 0}}) {
        stamp.x = x;
        stamp.y = y;
        EXPECT_EQ(paintedPart(*painted(stamp)), Part{}) << x << ' ' << y;
    }
}

TEST_F(PaintedStamps, HaveNoBackgroundUnlessOneIsSet) {
    const auto picture = painted(stampOf(".", 300, 150));
    const Part part = paintedPart(*picture);
    ASSERT_EQ(part.size(), 4u);
    EXPECT_LE(part[2] - part[0], 4);
    EXPECT_LE(part[3] - part[1], 4);
}

TEST_F(PaintedStamps, AreAbsentUnlessDrawn) {
    auto stamp = stampOf("abc", 300, 150);
    EXPECT_TRUE(hasStamps(tableOf(stamp)));
    stamp.draw = 0;
    EXPECT_FALSE(hasStamps(tableOf(stamp)));
    EXPECT_EQ(paintedPart(*painted(stamp)), Part{});
    EXPECT_FALSE(hasStamps(tableOf(stampOf("", 300, 150)))) << "empty pattern";
}

TEST_F(PaintedStamps, HaveTheirColoursInEachRangeAndMatrix) {
    for (const AVColorSpace colours : {AVCOL_SPC_BT709, AVCOL_SPC_SMPTE170M}) {
        for (const AVColorRange range : {AVCOL_RANGE_MPEG, AVCOL_RANGE_JPEG}) {
            for (const std::uint32_t colour : {0xFF0000U, 0x00FF00U, 0x0000FFU, 0xFFFFFFU, 0xC81E78U}) {
                auto stamp = stampOf(kBlock, 960, 540, colour);
                stamp.w = stamp.h = 120;
                const FramePtr text = grey(), background = grey();
                for (const FramePtr& picture : {std::cref(text), std::cref(background)}) {
                    picture->colorspace = colours;
                    picture->color_range = range;
                }
                painter_.paint(*text, tableOf(stamp), Time());
                std::strcpy(stamp.pattern, "  ");
                stamp.background = 0xFF000000 | colour;
                painter_.paint(*background, tableOf(stamp), Time());
                const auto part = [&](int shift) { return static_cast<std::uint8_t>(colour >> shift); };
                const YuvColour expected = referenceColour({part(16), part(8), part(0)}, colours, range);
                for (const YuvColour& found : {at(*text, 340, 200), at(*background, 340, 200)}) {
                    EXPECT_NEAR(found.y, expected.y, 1) << colours << ' ' << range << ' ' << colour;
                    EXPECT_NEAR(found.u, expected.u, 1) << colours << ' ' << range << ' ' << colour;
                    EXPECT_NEAR(found.v, expected.v, 1) << colours << ' ' << range << ' ' << colour;
                }
            }
        }
    }
}

TEST_F(PaintedStamps, LetThePictureThroughByTheirAlpha) {
    auto stamp = stampOf(kBlock, 960, 540, 0x80FFFFFF);
    stamp.w = stamp.h = 120;
    EXPECT_NEAR(at(*painted(stamp), 340, 200).y, kGrey + (235 - kGrey) * 128 / 255.0, 1);
    stamp.colour = 0x01FFFFFF;
    EXPECT_NEAR(at(*painted(stamp), 340, 200).y, kGrey + 1, 1);
    stamp.background = 0x40000000;
    EXPECT_NEAR(at(*painted(stamp), 340, 200).y, kGrey - (kGrey - 16) * 64 / 255.0 + 1, 1.5);
    stamp.colour = 0xFFFFFF;
    EXPECT_EQ(at(*painted(stamp), 340, 200).y, 235) << "zero alpha, on a background";
}

TEST_F(PaintedStamps, BlendColoursByTheirCoverageOfPairs) {
    const auto picture = painted(stampOf("%d.%m", 300, 150, 0x0000FF));
    const YuvColour blue = inColoursOf(*picture, RgbColour{0, 0, 1});
    int partly = 0;
    for (int y = 50; y < 62; y += 2) {
        for (int x = 100; x < 126; x += 2) {
            int luma = 0;
            for (int pixel = 0; pixel < 4; ++pixel) luma += at(*picture, x + pixel % 2, y + pixel / 2).y;
            const double covered = (kGrey - luma / 4.0) / (kGrey - blue.y);
            ASSERT_NEAR(at(*picture, x, y).u, kGrey + covered * (blue.u - kGrey), 3) << x << ' ' << y;
            partly += covered > 0.1 && covered < 0.9;
        }
    }
    EXPECT_GT(partly, 10);
}

TEST_F(PaintedStamps, HaveTheDefaultSizeIfUnset) {
    auto stamp = stampOf("Size", 300, 150);
    const std::string usual = bytes(*painted(stamp));
    for (const int side : {0, -1, INT_MIN, 541, INT_MAX}) {
        stamp.w = stamp.h = side;
        EXPECT_TRUE(bytes(*painted(stamp)) == usual) << side;
    }
}

TEST_F(PaintedStamps, OfTheSmallestAndTheLargestSizeAreDrawnInTheSmallestAndTheLargestPictures) {
    for (const auto& [width, height] : {std::pair{16, 16}, std::pair{8192, 16}, std::pair{8192, 4320}}) {
        for (const int side : {1, 540}) {
            auto stamp = stampOf("\u2588\u2588", 0, 0);
            stamp.w = stamp.h = side;
            const auto picture = painted(stamp, width, height);
            EXPECT_NE(at(*picture, 0, 0).y, kGrey) << width << ' ' << height << ' ' << side;
        }
    }
}

TEST_F(PaintedStamps, OfAnyBytesStayWithinThePicture) {
    std::mt19937 random(14);
    for (int i = 0; i < 150; ++i) {
        StampTable table;
        std::vector<unsigned char> noise(sizeof table);
        for (unsigned char& byte : noise) byte = static_cast<unsigned char>(random());
        std::memcpy(&table, noise.data(), sizeof table);
        for (StampRecord& stamp : table.stamps) {
            // Mostly visible ones.
            if (i % 4 == 0) continue;
            stamp = stampOf(std::string(stamp.pattern, 40).c_str(), stamp.x % 2000, stamp.y % 1100);
            stamp.w = static_cast<int>(random() % 60);
            stamp.background = static_cast<std::uint32_t>(random());
        }
        const auto [width, height] = std::to_array<std::pair<int, int>>({{16, 16}, {640, 360}})[i % 2];
        const FramePtr picture = grey(width, height);
        painter_.paint(*picture, table, Time());
        // The bytes after the planes must not change; beyond those, the sanitizers check.
        for (int after = 0; after < 64; ++after) picture->data[0][bytesOf(*picture) + std::size_t(after)] = 7;
        painter_.paint(*picture, table, Time());
        for (int after = 0; after < 64; ++after)
            ASSERT_EQ(picture->data[0][bytesOf(*picture) + std::size_t(after)], 7) << i;
    }
}

class StampFonts : public PaintedStamps {
  protected:
    StampFonts() : folder_(testing::TempDir() + "stamp_fonts_" + std::to_string(getpid())) {
        std::filesystem::create_directories(folder_);
    }
    ~StampFonts() override { std::filesystem::remove_all(folder_); }
    /** A hash of the picture painted with this font. */
    std::size_t with(const std::string& font) {
        auto stamp = stampOf("Font 123 gjy", 300, 150);
        stamp.w = 32;
        stamp.h = 64;
        setFont(stamp, font);
        return std::hash<std::string>()(bytes(*painted(stamp)));
    }
    /** Expects the default font, and a single line in the log however often the font is used. */
    void expectRefused(const std::string& font, const std::string& reason) {
        const ErrorLines lines;
        for (int i = 0; i < 3; ++i) EXPECT_EQ(with(font), with("")) << font;
        const std::string line = "font " + font + ": using DejaVu Sans Mono instead: " + reason;
        EXPECT_EQ(lines.count(line), 1) << lines.raw();
    }
    std::string path(const std::string& name) const { return folder_ / name; }

  private:
    const std::filesystem::path folder_;
};

TEST_F(StampFonts, AreFoundByNameAndByFile) {
    const ErrorLines lines;
    const std::size_t serif = with("DejaVu Serif");
    EXPECT_NE(serif, with(""));
    EXPECT_NE(serif, with("DejaVu Serif:bold"));
    EXPECT_EQ(serif, with("dejavu serif"));
    EXPECT_EQ(serif, with("/usr/share/fonts/truetype/dejavu/DejaVuSerif.ttf"));
    EXPECT_EQ(with("DejaVu Sans Mono"), with(""));
    EXPECT_EQ(with("monospace"), with(""));
    EXPECT_EQ(with("serif"), serif);
    EXPECT_EQ(lines.raw(), "");
}

TEST_F(StampFonts, FallBackToTheDefaultWithALineIfUnknown) {
    expectRefused("No Such Font", "not installed");
    expectRefused(path("missing.ttf"), "No such file or directory");
    expectRefused(path("."), "not a regular file");
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    expectRefused(path("pipe"), "not a regular file");
    std::ofstream(path("text.ttf")) << "no font at all";
    expectRefused(path("text.ttf"), "not a scalable font");
    std::ofstream(path("empty.ttf")).flush();
    expectRefused(path("empty.ttf"), "not a scalable font");
    std::filesystem::create_symlink(path("loop"), path("loop"));
    expectRefused(path("loop"), "Too many levels of symbolic links");
}

TEST_F(StampFonts, AreHarmlessIfTruncated) {
    std::ifstream whole("/usr/share/fonts/truetype/dejavu/DejaVuSerif.ttf", std::ios::binary);
    std::vector<char> start(100'000);
    whole.read(start.data(), static_cast<std::streamsize>(start.size()));
    const std::size_t unstamped = std::hash<std::string>()(bytes(*grey()));
    for (const std::streamsize size : {5, 200, 5'000, 100'000}) {
        const std::string name = path(std::to_string(size) + ".ttf");
        std::ofstream(name, std::ios::binary).write(start.data(), size);
        EXPECT_NE(with(name), unstamped) << size;
    }
}

TEST_F(StampFonts, FallBackToOthersPerCharacter) {
    const auto mono = Font::open("DejaVu Sans Mono", 16, 32);
    ASSERT_TRUE(mono);
    // Hebrew alef is in DejaVu Sans only, the private-use character in no font.
    const Glyph alef = mono->glyph(0x05D0);
    const Glyph missing = mono->glyph(0xF8FF);
    EXPECT_FALSE(alef.coverage.empty());
    EXPECT_NE(alef.coverage, missing.coverage);
}

TEST_F(StampFonts, FillTheCellsThatTheyAreGiven) {
    for (const char* const name : {"DejaVu Sans Mono", "DejaVu Serif"}) {
        const auto font = Font::open(name, 30, 50);
        ASSERT_TRUE(font);
        EXPECT_EQ(font->glyph('0').advance, 30) << name;
        EXPECT_EQ(font->glyph('8').advance, 30) << name;
        EXPECT_EQ(font->lineHeight(), 50) << name;
        const Glyph& block = font->glyph(0x2588);
        EXPECT_NEAR(block.height, 50, 4) << name;
        EXPECT_NEAR(block.top, font->ascent(), 4) << name;
    }
}

}  // namespace
}  // namespace kep::host
