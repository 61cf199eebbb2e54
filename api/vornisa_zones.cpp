/** Privacy zones: the table in shared memory that the framework's drawing element reads. */
#include "vornisa_zones.h"

#include "kep/hex.h"
#include "kep/shared_memory.h"
#include "kep/shm_rects.h"
#include "vornisa_check.h"

using kep::shm::shm_rects_t;

typedef kep::stream::TSharedMemory<shm_rects_t> ZoneMemory;

VN_LOG_SINK(debugStreams);

static constexpr int frameWidth = 1920;
static constexpr int frameHeight = 1080;

// 16 cells reach slightly beyond the frame, so that they cover all of it.
static constexpr int gridWidth = 1935;
static constexpr int gridHeight = 1095;
static constexpr int gridCells = 16;

/** Attaches the table and checks `idx`: the memory before and after the table is not part of it. */
static int attach(const char* caller, ZoneMemory& shm, int idx, shm_rects_t*& rects) {
    VN_FAIL_IF_OF(caller, !shm.ShmName("vornisa_shm_rects"), "!shm.ShmName(\"vornisa_shm_rects\")",
                  VNRES_FAIL);
    rects = shm.Record();
    VN_FAIL_IF_OF(caller, !rects, "!rects", VNRES_FAIL);
    VN_FAIL_IF_OF(caller, idx < 0 || idx >= 16, "idx<0||idx>=16", VNRES_FAIL);
    return VNRES_SUCCEED;
}

std::uint32_t vnColorConvert(VNRes_Color rgb) {
    const int r = rgb >> 16 & 0xff;
    const int g = rgb >> 8 & 0xff;
    const int b = rgb & 0xff;
    const int y = (2990 * r + 5870 * g + 1140 * b) / 10000;
    const int u = (-1687 * r - 3313 * g + 5000 * b + 1280000) / 10000;
    const int v = (5000 * r - 4187 * g - 813 * b + 1280000) / 10000;
    return static_cast<std::uint32_t>(u | y << 8 | v << 16);
}

int VNZonesEnable(int idx, int enable) try {
    ZoneMemory shm(1);
    shm_rects_t* rects = nullptr;
    if (const int failed = attach(__func__, shm, idx, rects)) return failed;
    rects->rects[idx].draw = enable != 0;
    rects->width = frameWidth;
    rects->height = frameHeight;
    rects->valid = true;
    VN_LOG(timing, "idx=" << idx);
    VN_LOG(timing, "rects->rects[idx].draw=" << rects->rects[idx].draw);
    VN_LOG(timing, "rects->valid=" << rects->valid);
    return VNRES_SUCCEED;
}
VN_END

int VNZonesSet(int idx, int x, int y, int w, int h, VNRes_Color color) try {
    ZoneMemory shm(1);
    shm_rects_t* rects = nullptr;
    if (const int failed = attach(__func__, shm, idx, rects)) return failed;
    rects->rects[idx].x = x;
    rects->rects[idx].y = y;
    rects->rects[idx].w = w;
    rects->rects[idx].h = h;
    rects->rects[idx].color = vnColorConvert(color);
    VN_LOG(timing, "idx=" << idx);
    VN_LOG(timing, "rects->rects[idx].x=" << rects->rects[idx].x);
    VN_LOG(timing, "rects->rects[idx].y=" << rects->rects[idx].y);
    VN_LOG(timing, "rects->rects[idx].w=" << rects->rects[idx].w);
    VN_LOG(timing, "rects->rects[idx].h=" << rects->rects[idx].h);
    char hex[kep::base::kHexSize];
    VN_LOG(timing, "(Hex)rects->rects[idx].color=" << kep::base::ToHex(hex, rects->rects[idx].color, true));
    return VNRES_SUCCEED;
}
VN_END

/** Cells from the first corner to the second, both included; 1 if the second comes before the first. */
static int cellsBetween(int first, int second) {
    return (second > first ? second - first : 0) + 1;
}

int VNZonesSet2(int idx, unsigned int rect, VNRes_Color color) {
    const int x0 = rect >> 24;
    const int y0 = rect >> 16 & 0xff;
    const int x1 = rect >> 8 & 0xff;
    const int y1 = rect & 0xff;
    return VNZonesSet(idx, gridWidth * x0 / gridCells, gridHeight * y0 / gridCells,
                      gridWidth * cellsBetween(x0, x1) / gridCells,
                      gridHeight * cellsBetween(y0, y1) / gridCells, color);
}
