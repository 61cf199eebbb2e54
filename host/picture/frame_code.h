#ifndef KEP_HOST_FRAME_CODE_H
#define KEP_HOST_FRAME_CODE_H

#include <cstdint>

namespace kep::host {

/**
 * The machine-readable number in the test picture: two rows of black and white blocks, the number's 32 bits
 * and 16 check bits, most significant first. Blocks are large enough to survive scaling to a third and strong
 * compression. Positions are those of a 1920x1080 picture.
 */
struct FrameCode {
    static constexpr int pictureWidth = 1920;
    static constexpr int pictureHeight = 1080;
    static constexpr int columns = 24;
    static constexpr int rows = 2;
    static constexpr int blockWidth = 72;
    static constexpr int blockHeight = 48;
    static constexpr int left = 96;
    static constexpr int top = 960;

    static constexpr std::uint64_t encode(std::uint32_t number) {
        return static_cast<std::uint64_t>(number) << 16 | check(number);
    }

    /** The number of a code read from a picture; false if the check bits do not match. */
    static constexpr bool decode(std::uint64_t code, std::uint32_t& number) {
        const auto read = static_cast<std::uint32_t>(code >> 16);
        if (check(read) != (code & 0xffff)) return false;
        number = read;
        return true;
    }

    /** Whether the block at a place is white. */
    static constexpr bool isWhite(std::uint64_t code, int row, int column) {
        return code >> (columns * rows - 1 - (row * columns + column)) & 1;
    }

  private:
    /** CRC-16 with polynomial 0x1021 and initial value 0xffff, so that all black is not a valid code. */
    static constexpr std::uint16_t check(std::uint32_t number) {
        std::uint32_t crc = 0xffff;
        for (int bit = 31; bit >= 0; --bit) {
            const std::uint32_t top_bit = crc >> 15 & 1;
            crc = (crc << 1) & 0xffff;
            if (top_bit != (number >> bit & 1)) crc ^= 0x1021;
        }
        return static_cast<std::uint16_t>(crc);
    }
};

}  // namespace kep::host

#endif
