/** Privacy zones: every byte that is written, and no other; every line and call in order. */
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "fixture.h"
#include "shared_memory.h"
#include "vornisa_zones.h"

namespace unit {
namespace {

const char file[] = "api/vornisa_zones.cpp";

std::string stored(const std::string& function, const std::string& text) {
    return line(12, green, file, function, text);
}

std::string refused(const std::string& function, const std::string& text) {
    return line(8, red, file, function, text);
}

const Events attaching = {"ISharedMemory(396)", "ISharedMemory::ShmName(vornisa_shm_rects)",
                          "ISharedMemory::Address()", "ISharedMemory::Slot()"};

/** The events of a call that attaches the table, writes `lines` and detaches it. */
Events attached(const Events& lines) {
    Events events = attaching;
    events.insert(events.end(), lines.begin(), lines.end());
    events.push_back("~ISharedMemory");
    return events;
}

/** The expected memory, initially a pattern that no call writes by chance. */
class Expected {
  public:
    Expected() {
        std::memset(&memory(), 0xA5, sizeof(Memory));
        memory_ = memory();
    }

    void byte(std::size_t offset, unsigned char value) { memory_.segment[offset] = value; }

    void word(std::size_t offset, std::uint32_t value) {
        for (int i = 0; i < 4; ++i) byte(offset + i, static_cast<unsigned char>(value >> 8 * i));
    }

    void zone(std::size_t offset, int x, int y, int w, int h, std::uint32_t color) {
        word(offset + 4, static_cast<std::uint32_t>(x));
        word(offset + 8, static_cast<std::uint32_t>(y));
        word(offset + 12, static_cast<std::uint32_t>(w));
        word(offset + 16, static_cast<std::uint32_t>(h));
        word(offset + 20, color);
    }

    void verify() const {
        EXPECT_EQ(memory_.before, memory().before);
        EXPECT_EQ(memory_.segment, memory().segment);
        EXPECT_EQ(memory_.behind, memory().behind);
    }

  private:
    Memory memory_;
};

class ZonesTest : public PluginTest {
  protected:
    ZonesTest() { setSlot(0); }

    Expected expected_;
};

TEST_F(ZonesTest, EnableWritesFlagFrameAndValid) {
    EXPECT_EQ(VNZonesEnable(0, 1), VNRES_SUCCEED);
    EXPECT_EQ(happened(), attached({stored("VNZonesEnable", "idx=0"),
                                    stored("VNZonesEnable", "rects->rects[idx].draw=true"),
                                    stored("VNZonesEnable", "rects->valid=true")}));
    expected_.byte(0, 1);
    expected_.word(384, 1920);
    expected_.word(388, 1080);
    expected_.byte(392, 1);
    expected_.verify();
}

TEST_F(ZonesTest, DisableWritesTheSameWithTheFlagCleared) {
    EXPECT_EQ(VNZonesEnable(15, 0), VNRES_SUCCEED);
    EXPECT_EQ(happened(), attached({stored("VNZonesEnable", "idx=15"),
                                    stored("VNZonesEnable", "rects->rects[idx].draw=false"),
                                    stored("VNZonesEnable", "rects->valid=true")}));
    expected_.byte(15 * 24, 0);
    expected_.word(384, 1920);
    expected_.word(388, 1080);
    expected_.byte(392, 1);
    expected_.verify();
}

TEST_F(ZonesTest, AnyOtherValueEnables) {
    for (int enable : {5, -1, 256, std::numeric_limits<int>::min()}) {
        memory().segment[3 * 24] = 0;
        EXPECT_EQ(VNZonesEnable(3, enable), VNRES_SUCCEED);
        EXPECT_EQ(memory().segment[3 * 24], 1) << enable;
    }
}

TEST_F(ZonesTest, SetWritesPlaceAndColourOnly) {
    EXPECT_EQ(VNZonesSet(2, 100, 200, 300, 400, VNRES_COLOR_RED), VNRES_SUCCEED);
    EXPECT_EQ(happened(),
              attached({stored("VNZonesSet", "idx=2"), stored("VNZonesSet", "rects->rects[idx].x=100"),
                        stored("VNZonesSet", "rects->rects[idx].y=200"),
                        stored("VNZonesSet", "rects->rects[idx].w=300"),
                        stored("VNZonesSet", "rects->rects[idx].h=400"),
                        stored("VNZonesSet", "(Hex)rects->rects[idx].color=0x00FF4C54")}));
    expected_.zone(2 * 24, 100, 200, 300, 400, 0x00FF4C54);
    expected_.verify();
}

// A zone that was set is not drawn before it is enabled as well, and a hidden zone keeps its position.
TEST_F(ZonesTest, SetAndEnableLeaveEachOthersFieldsAlone) {
    expected_ = Expected();
    std::memset(&memory().segment, 0, sizeof memory().segment);
    EXPECT_EQ(VNZonesSet(7, 1, 2, 3, 4, VNRES_COLOR_WHITE), VNRES_SUCCEED);
    EXPECT_EQ(memory().segment[7 * 24], 0);
    EXPECT_EQ(memory().segment[392], 0);
    EXPECT_EQ(VNZonesEnable(7, 1), VNRES_SUCCEED);
    const auto shown = memory().segment;
    EXPECT_EQ(VNZonesEnable(7, 0), VNRES_SUCCEED);
    auto hidden = shown;
    hidden[7 * 24] = 0;
    EXPECT_EQ(memory().segment, hidden);
}

TEST_F(ZonesTest, CoordinatesAreNotChecked) {
    const int least = std::numeric_limits<int>::min();
    const int most = std::numeric_limits<int>::max();
    EXPECT_EQ(VNZonesSet(15, least, -1, most, 0, 0), VNRES_SUCCEED);
    EXPECT_EQ(happened(), attached({stored("VNZonesSet", "idx=15"),
                                    stored("VNZonesSet", "rects->rects[idx].x=-2147483648"),
                                    stored("VNZonesSet", "rects->rects[idx].y=-1"),
                                    stored("VNZonesSet", "rects->rects[idx].w=2147483647"),
                                    stored("VNZonesSet", "rects->rects[idx].h=0"),
                                    stored("VNZonesSet", "(Hex)rects->rects[idx].color=0x00800080")}));
    expected_.zone(15 * 24, least, -1, most, 0, 0x00800080);
    expected_.verify();
}

TEST_F(ZonesTest, TheRecordIsThatOfTheCurrentSlot) {
    for (std::size_t slot = 0; slot < kSlots; ++slot) {
        expected_ = Expected();
        setSlot(static_cast<int>(slot));
        EXPECT_EQ(VNZonesSet(1, 5, 6, 7, 8, VNRES_COLOR_GREEN), VNRES_SUCCEED);
        EXPECT_EQ(VNZonesEnable(1, 1), VNRES_SUCCEED);
        const std::size_t record = slot * kRecordSize;
        expected_.byte(record + 24, 1);
        expected_.zone(record + 24, 5, 6, 7, 8, 0x0015952B);
        expected_.word(record + 384, 1920);
        expected_.word(record + 388, 1080);
        expected_.byte(record + 392, 1);
        expected_.verify();
    }
}

struct GridCase {
    std::uint32_t rect;
    int x, y, w, h;
};

class ZonesGridTest : public ZonesTest, public testing::WithParamInterface<GridCase> {};

TEST_P(ZonesGridTest, CellsBecomePixels) {
    const GridCase& grid = GetParam();
    EXPECT_EQ(VNZonesSet2(4, grid.rect, VNRES_COLOR_BLUE), VNRES_SUCCEED);
    EXPECT_EQ(happened(), attached({stored("VNZonesSet", "idx=4"),
                                    stored("VNZonesSet", "rects->rects[idx].x=" + std::to_string(grid.x)),
                                    stored("VNZonesSet", "rects->rects[idx].y=" + std::to_string(grid.y)),
                                    stored("VNZonesSet", "rects->rects[idx].w=" + std::to_string(grid.w)),
                                    stored("VNZonesSet", "rects->rects[idx].h=" + std::to_string(grid.h)),
                                    stored("VNZonesSet", "(Hex)rects->rects[idx].color=0x006B1DFF")}));
    expected_.zone(4 * 24, grid.x, grid.y, grid.w, grid.h, 0x006B1DFF);
    expected_.verify();
}

INSTANTIATE_TEST_SUITE_P(
    Rects, ZonesGridTest,
    testing::Values(GridCase{0x00000F0F, 0, 0, 1935, 1095}, GridCase{0x05050505, 604, 342, 120, 68},
                    // The second corner left of the first, above it, or both: one cell, corners not swapped.
                    GridCase{0x0A000500, 1209, 0, 120, 68}, GridCase{0x000A0005, 0, 684, 120, 68},
                    GridCase{0x0F0F0000, 1814, 1026, 120, 68}, GridCase{0x00000000, 0, 0, 120, 68},
                    GridCase{0x03040608, 362, 273, 483, 342}, GridCase{0x0E0D0F0F, 1693, 889, 241, 205},
                    // Cells beyond the grid are not refused.
                    GridCase{0x1011FFFE, 1935, 1163, 29025, 16288},
                    GridCase{0xFFFFFFFF, 30839, 17451, 120, 68}));

int enableZone(int idx) {
    return VNZonesEnable(idx, 1);
}
int setZone(int idx) {
    return VNZonesSet(idx, 1, 2, 3, 4, 5);
}
int setZoneByCells(int idx) {
    return VNZonesSet2(idx, 0x01010202, 5);
}

struct ZoneCall {
    const char* function; /**< the name in its log lines */
    int (*of)(int idx);
};

class ZonesRefusalTest : public ZonesTest, public testing::WithParamInterface<ZoneCall> {
  protected:
    void expectRefusal(int idx, const Events& calls, const std::string& text) {
        EXPECT_EQ(GetParam().of(idx), VNRES_FAIL);
        Events events = calls;
        events.push_back(refused(GetParam().function, text));
        events.push_back("~ISharedMemory");
        EXPECT_EQ(happened(), events);
        expected_.verify();
    }
};

TEST_P(ZonesRefusalTest, OfASegmentThatCannotBeAttached) {
    script.refuse("ISharedMemory::ShmName");
    expectRefusal(0, {attaching[0], attaching[1]}, "!shm.ShmName(\"vornisa_shm_rects\")");
}

TEST_P(ZonesRefusalTest, OfASegmentWithoutARecord) {
    script.refuse("ISharedMemory::Address");
    expectRefusal(0, {attaching[0], attaching[1], attaching[2]}, "!rects");
}

// The last zone is followed by the frame size and then by other memory.
TEST_P(ZonesRefusalTest, OfAnIndexOutOfRange) {
    for (int idx :
         {16, -1, 17, 396 / 24 + 1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()})
        expectRefusal(idx, attaching, "idx<0||idx>=16");
}

TEST_P(ZonesRefusalTest, OfAnIndexOutOfRangeComesLast) {
    script.refuse("ISharedMemory::Address");
    expectRefusal(16, {attaching[0], attaching[1], attaching[2]}, "!rects");
    script.refuse("ISharedMemory::ShmName");
    expectRefusal(16, {attaching[0], attaching[1]}, "!shm.ShmName(\"vornisa_shm_rects\")");
}

TEST_P(ZonesRefusalTest, DoesNotAffectTheNextCall) {
    script.refuse("ISharedMemory::ShmName");
    EXPECT_EQ(GetParam().of(0), VNRES_FAIL);
    script.reset();
    EXPECT_EQ(GetParam().of(0), VNRES_SUCCEED);
}

TEST_P(ZonesRefusalTest, AnExceptionIsLoggedAndTheTableIsDetached) {
    script.throwAt("ISharedMemory::Address");
    EXPECT_EQ(GetParam().of(0), VNRES_FAIL);
    EXPECT_EQ(happened(), (Events{attaching[0], attaching[1], attaching[2], "~ISharedMemory",
                                  refused(GetParam().function, "exception:std::bad_alloc")}));
}

INSTANTIATE_TEST_SUITE_P(Calls, ZonesRefusalTest,
                         testing::Values(ZoneCall{"VNZonesEnable", enableZone},
                                         ZoneCall{"VNZonesSet", setZone},
                                         ZoneCall{"VNZonesSet", setZoneByCells}));

TEST(ColorConvert, KnownColours) {
    EXPECT_EQ(vnColorConvert(VNRES_COLOR_BLACK), 0x00800080u);
    EXPECT_EQ(vnColorConvert(VNRES_COLOR_WHITE), 0x0080FF80u);
    EXPECT_EQ(vnColorConvert(VNRES_COLOR_RED), 0x00FF4C54u);
    EXPECT_EQ(vnColorConvert(VNRES_COLOR_GREEN), 0x0015952Bu);
    EXPECT_EQ(vnColorConvert(VNRES_COLOR_BLUE), 0x006B1DFFu);
}

// Y is exactly an integer in the first, U and V are just below one in the second and third.
TEST(ColorConvert, FractionsAreTruncated) {
    EXPECT_EQ(vnColorConvert(0x0002D1), 0x006E19E7u);
    EXPECT_EQ(vnColorConvert(0xF60001), 0x00FA4956u);
    EXPECT_EQ(vnColorConvert(0x007C01), 0x004B4857u);
}

// The numbers are part of the interface: an application may have been built with them.
TEST(NamedColours, AreRedGreenBlue) {
    EXPECT_EQ(VNRES_COLOR_BLACK, 0);
    EXPECT_EQ(VNRES_COLOR_WHITE, 0xffffff);
    EXPECT_EQ(VNRES_COLOR_GRAY, 0x808080);
    EXPECT_EQ(VNRES_COLOR_SILVER, 0xc0c0c0);
    EXPECT_EQ(VNRES_COLOR_RED, 0xff0000);
    EXPECT_EQ(VNRES_COLOR_GREEN, 0xff00);
    EXPECT_EQ(VNRES_COLOR_BLUE, 0xff);
    EXPECT_EQ(VNRES_COLOR_YELLOW, 0xffff00);
    EXPECT_EQ(VNRES_COLOR_CYAN, 0xffff);
    EXPECT_EQ(VNRES_COLOR_MAGENTA, 0xff00ff);
    EXPECT_EQ(VNRES_COLOR_ORANGE, 0xffa500);
}

TEST(ColorConvert, TheHighestByteIsIgnored) {
    EXPECT_EQ(vnColorConvert(0xFF123456), vnColorConvert(0x00123456));
    EXPECT_EQ(vnColorConvert(0x80000000), 0x00800080u);
}

// Truncated; the components are never negative, so that floor is the same. The sum compensates rounding
// errors.
std::uint32_t component(double value) {
    return static_cast<std::uint32_t>(std::floor(value + 1e-6));
}

TEST(ColorConvert, AgreesWithTheFormulaOverTheWholeCube) {
    for (std::uint32_t r = 0; r < 256; r += 3)
        for (std::uint32_t g = 0; g < 256; g += 3)
            for (std::uint32_t b = 0; b < 256; b += 3) {
                const std::uint32_t y = component(0.299 * r + 0.587 * g + 0.114 * b);
                const std::uint32_t u = component(128 - 0.1687 * r - 0.3313 * g + 0.5 * b);
                const std::uint32_t v = component(128 + 0.5 * r - 0.4187 * g - 0.0813 * b);
                ASSERT_LE(y | u | v, 255u);
                ASSERT_EQ(vnColorConvert(r << 16 | g << 8 | b), u | y << 8 | v << 16)
                    << r << "," << g << "," << b;
            }
}

}  // namespace
}  // namespace unit
