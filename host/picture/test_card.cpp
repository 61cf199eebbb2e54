#include "picture/test_card.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <numbers>
#include <string_view>

#include "picture/frame_code.h"
#include "picture/picture.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace kep::host {

namespace {

/** Copies rows of luma or chroma with libavutil: the thread sanitizer records each byte that our own code
 * copies, which is too slow for the camera. */
void copyRows(std::uint8_t* to, const std::uint8_t* from, int rows) {
    av_image_copy_plane(to, TestCard::width, from, TestCard::width, TestCard::width, rows);
}

struct Area {
    int x;
    int y;
    int width;
    int height;
};

constexpr int width = TestCard::width;
constexpr int height = TestCard::height;
constexpr int kRows = height + height / 2;  // of `width` bytes, for luma and both chroma planes
static_assert(width == FrameCode::pictureWidth && height == FrameCode::pictureHeight);

constexpr Area ramp = {0, 400, width, 40};
constexpr Area dial = {112, 440, 256, 256};
constexpr Area clockPanel = {480, 440, 960, 256};
constexpr Area flash = {1440, 440, 480, 256};
constexpr Area snowBand = {0, 696, width, 240};

constexpr std::uint8_t black = 16;
constexpr std::uint8_t dark = 32;
constexpr std::uint8_t white = 235;
constexpr std::uint8_t neutral = 128;

constexpr int ballSize = 40;
constexpr float orbit = 92;
constexpr int markWidth = 8;

// Size of a grain of snow in pixels: scaling the picture to a third does not average the snow away.
constexpr int grain = 3;
constexpr int snowRows = 512;
constexpr int snowRow = width * 2;

/** A colour of the 75 % bars in BT.709, limited range. */
struct Colour {
    std::uint8_t y, u, v;
};
constexpr Colour bars[] = {{180, 128, 128}, {168, 44, 136}, {145, 147, 44}, {134, 63, 52},
                           {63, 193, 204},  {51, 109, 212}, {28, 212, 120}, {16, 128, 128}};

void fill(std::uint8_t* plane, int stride, const Area& area, std::uint8_t value) {
    for (int y = 0; y < area.height; ++y) {
        std::memset(plane + static_cast<std::ptrdiff_t>(area.y + y) * stride + area.x, value,
                    static_cast<std::size_t>(area.width));
    }
}

void writeCentred(std::uint8_t* luma, const StrokeFont& font, int y, std::string_view text) {
    const int length = static_cast<int>(text.size()) * font.width();
    font.write(luma, width, clockPanel.x + (clockPanel.width - length) / 2, y, text);
}

std::uint32_t nextRandom(std::uint32_t& state) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return state;
}

/** A disc with a soft edge on the background of the dial. */
std::uint8_t discPixel(int x, int y) {
    const float centre = ballSize / 2.0F;
    const float radius =
        std::hypot(static_cast<float>(x) + 0.5F - centre, static_cast<float>(y) + 0.5F - centre);
    const float cover = std::clamp(centre - 2 - radius + 0.5F, 0.0F, 1.0F);
    return static_cast<std::uint8_t>(dark + cover * (white - dark));
}

}  // namespace

TestCard::TestCard() : clockFont_(96, white, black), lineFont_(46, 180, black) {
    paintBackground();

    snow_.resize(static_cast<std::size_t>(snowRow) * snowRows);
    std::uint32_t seed = 0x9e3779b9;
    for (std::size_t at = 0; at < snow_.size(); at += grain) {
        const auto value = static_cast<std::uint8_t>(64 + (nextRandom(seed) >> 25));
        std::fill_n(snow_.begin() + static_cast<std::ptrdiff_t>(at),
                    std::min<std::size_t>(grain, snow_.size() - at), value);
    }

    ball_.resize(ballSize * ballSize);
    for (int y = 0; y < ballSize; ++y) {
        for (int x = 0; x < ballSize; ++x)
            ball_[static_cast<std::size_t>(y) * ballSize + static_cast<std::size_t>(x)] = discPixel(x, y);
    }
}

void TestCard::paintBackground() {
    const std::size_t luma = static_cast<std::size_t>(width) * height;
    background_.assign(luma, black);
    background_.resize(luma + luma / 2, neutral);
    std::uint8_t* y = background_.data();
    std::uint8_t* u = y + luma;
    std::uint8_t* v = u + luma / 4;

    const int count = static_cast<int>(std::size(bars));
    for (int bar = 0; bar < count; ++bar) {
        const Area area = {bar * width / count, 0, width / count, ramp.y};
        const Area half = {area.x / 2, 0, area.width / 2, area.height / 2};
        fill(y, width, area, bars[bar].y);
        fill(u, width / 2, half, bars[bar].u);
        fill(v, width / 2, half, bars[bar].v);
    }
    for (int x = 0; x < width; ++x) {
        const auto grey = static_cast<std::uint8_t>(black + (white - black) * x / (width - 1));
        fill(y, width, {x, ramp.y, 1, ramp.height}, grey);
    }
    fill(y, width, {0, dial.y, clockPanel.x, dial.height}, dark);
    fill(y, width, flash, dark);

    for (int tick = 0; tick < 60; ++tick) {
        const float angle = static_cast<float>(tick) * std::numbers::pi_v<float> / 30;
        const bool hour = tick % 5 == 0;
        const int size = hour ? 8 : 4;
        const Area area = {
            dial.x + dial.width / 2 - size / 2 + static_cast<int>(std::lround(std::sin(angle) * 120)),
            dial.y + dial.height / 2 - size / 2 - static_cast<int>(std::lround(std::cos(angle) * 120)), size,
            size};
        fill(y, width, area, hour ? white : neutral);
    }
}

void TestCard::paint(std::uint8_t* planes, std::uint32_t number, std::chrono::steady_clock::time_point stamp,
                     int rate) {
    std::uint8_t* const luma = planes;
    // The snow is repainted in each picture and needs no background.
    const std::size_t aboveSnow = static_cast<std::size_t>(snowBand.y) * width;
    const std::size_t belowSnow = aboveSnow + static_cast<std::size_t>(snowBand.height) * width;
    copyRows(luma, background_.data(), snowBand.y);
    copyRows(luma + belowSnow, background_.data() + belowSnow, kRows - snowBand.y - snowBand.height);
    paintSnow(luma);
    paintMotion(luma, stamp.time_since_epoch() % std::chrono::seconds(1));
    paintClock(luma, number, stamp, rate);
    paintCode(luma, number);
}

void TestCard::paintSnow(std::uint8_t* luma) {
    for (int y = 0; y < snowBand.height; y += grain) {
        const std::uint32_t random = nextRandom(random_);
        const std::uint8_t* from = snow_.data() + static_cast<std::size_t>(random % snowRows) * snowRow +
                                   (random >> 16) % (width / grain) * grain;
        for (int row = 0; row < grain; ++row) {
            copyRows(luma + static_cast<std::ptrdiff_t>(snowBand.y + y + row) * width, from, 1);
        }
    }
}

void TestCard::paintMotion(std::uint8_t* luma, std::chrono::nanoseconds intoSecond) const {
    const float turn = std::chrono::duration<float>(intoSecond).count();
    const float angle = turn * 2 * std::numbers::pi_v<float>;
    const int x =
        dial.x + (dial.width - ballSize) / 2 + static_cast<int>(std::lround(std::sin(angle) * orbit));
    const int y =
        dial.y + (dial.height - ballSize) / 2 - static_cast<int>(std::lround(std::cos(angle) * orbit));
    for (int row = 0; row < ballSize; ++row) {
        std::memcpy(luma + static_cast<std::ptrdiff_t>(y + row) * width + x, ball_.data() + row * ballSize,
                    ballSize);
    }
    const int mark = static_cast<int>(turn * (width - markWidth));
    fill(luma, width, {mark, ramp.y, markWidth, ramp.height}, mark < width / 2 ? white : black);
    if (intoSecond < std::chrono::milliseconds(100)) fill(luma, width, flash, white);
}

void TestCard::paintClock(std::uint8_t* luma, std::uint32_t number,
                          std::chrono::steady_clock::time_point stamp, int rate) const {
    using namespace std::chrono;
    const auto milliseconds =
        duration_cast<std::chrono::milliseconds>(wallTimeOf(stamp).time_since_epoch()).count();
    const std::time_t seconds = static_cast<std::time_t>(milliseconds / 1000);
    std::tm local{};
    localtime_r(&seconds, &local);

    char text[64];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min, local.tm_sec,
                  static_cast<int>(milliseconds % 1000));
    writeCentred(luma, clockFont_, clockPanel.y + 22, text);
    std::snprintf(text, sizeof text, "%04d-%02d-%02d  %d FPS", local.tm_year + 1900, local.tm_mon + 1,
                  local.tm_mday, rate);
    writeCentred(luma, lineFont_, clockPanel.y + 132, text);
    std::snprintf(text, sizeof text, "FRAME %08u", number);
    writeCentred(luma, lineFont_, clockPanel.y + 188, text);
}

void TestCard::paintCode(std::uint8_t* luma, std::uint32_t number) const {
    const std::uint64_t code = FrameCode::encode(number);
    for (int row = 0; row < FrameCode::rows; ++row) {
        for (int column = 0; column < FrameCode::columns; ++column) {
            if (!FrameCode::isWhite(code, row, column)) continue;
            fill(luma, width,
                 {FrameCode::left + column * FrameCode::blockWidth,
                  FrameCode::top + row * FrameCode::blockHeight, FrameCode::blockWidth,
                  FrameCode::blockHeight},
                 white);
        }
    }
}

}  // namespace kep::host
