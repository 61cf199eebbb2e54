#include "zone_table.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>

#include "command.h"

namespace vncam {
namespace {

// The published layout of the table: 16 entries, then the size of the frame and whether anything is set.
constexpr std::size_t kEntryBytes = 24;
constexpr std::size_t kTableBytes = 396;
constexpr const char* kName = "vornisa_shm_rects";

using Table = std::array<unsigned char, kTableBytes>;

template <class Number>
Number numberAt(const Table& table, std::size_t offset) {
    Number number;
    std::memcpy(&number, &table[offset], sizeof number);
    return number;
}

/** Red, green and blue of a packed colour of full range and BT.601. */
std::uint32_t rgbOf(std::uint32_t packed) {
    const double y = packed >> 8 & 0xFF;
    const double u = static_cast<double>(packed & 0xFF) - 128;
    const double v = static_cast<double>(packed >> 16 & 0xFF) - 128;
    const auto part = [](double value) {
        return static_cast<std::uint32_t>(std::lround(std::clamp(value, 0.0, 255.0)));
    };
    return part(y + 1.402 * v) << 16 | part(y - 0.344136 * u - 0.714136 * v) << 8 | part(y + 1.772 * u);
}

}  // namespace

std::optional<std::array<Zone, kZones>> readZones() {
    const char* const prefix = std::getenv("KEP_HOST_SHM");
    const int file = shm_open(("/" + std::string(prefix ? prefix : "") + kName).c_str(), O_RDONLY, 0);
    if (file < 0 && errno == ENOENT) return std::nullopt;
    Table table;
    const ssize_t count = file < 0 ? -1 : pread(file, table.data(), table.size(), 0);
    const std::string reason = count < 0 ? std::strerror(errno) : "too short";
    if (file >= 0) close(file);
    if (count != static_cast<ssize_t>(table.size()))
        throw Failure(std::string("shared memory ") + kName + ": cannot read: " + reason);
    std::array<Zone, kZones> zones{};
    for (std::size_t i = 0; i < zones.size(); ++i) {
        const std::size_t entry = i * kEntryBytes;
        const auto side = [&](std::size_t offset) { return numberAt<std::int32_t>(table, entry + offset); };
        zones[i] = {table[entry] != 0, side(4),  side(8),
                    side(12),          side(16), rgbOf(numberAt<std::uint32_t>(table, entry + 20))};
    }
    return zones;
}

}  // namespace vncam
