#ifndef KEP_HOST_STAMPS_H
#define KEP_HOST_STAMPS_H

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "kep/visibility.h"
#include "media/common/ffmpeg.h"
#include "picture/font.h"
#include "picture/stamp_record.h"

namespace kep::host {

/** Whether a table has anything to draw. */
KEP_API bool hasStamps(const StampTable& table);

/** Draws stamps into pictures. For one thread only. */
class KEP_API StampPainter {
  public:
    /**
     * Draws the stamps, later ones over earlier ones, clipped to the picture. An invalid size is replaced by
     * the default size.
     *
     * @param picture planar YUV 4:2:0, not shared
     * @param time    when it was captured
     */
    void paint(AVFrame& picture, const StampTable& table, std::chrono::system_clock::time_point time);

  private:
    /** A part of a picture, all its edges even. */
    struct Box {
        int left, top, right, bottom;
    };

    void paint(AVFrame& picture, const StampRecord& stamp, std::chrono::system_clock::time_point time);
    Font* fontOf(const StampRecord& stamp, double cellWidth, double lineHeight);
    void cover(Font& font, const std::vector<std::u32string>& lines, std::int64_t left, std::int64_t top,
               const Box& seen);

    /** Name of the font, width of a digit and height of a line. */
    using FontKey = std::tuple<std::string, double, double>;
    std::map<FontKey, std::unique_ptr<Font>> fonts_;
    std::vector<std::uint8_t> mask_; /**< coverage of each pixel of a box by the text */
};

}  // namespace kep::host

#endif
