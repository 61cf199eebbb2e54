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

/** Draws stamps into one picture after another, on one thread. */
class KEP_API StampPainter {
  public:
    /**
     * Draws the stamps, the later ones above the earlier. What lies outside the picture is cut off; a size
     * that is none is taken for the usual one.
     *
     * @param picture planar YUV 4:2:0 that nobody else holds
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

    /** Named font, width of a figure and height of a line. */
    using FontKey = std::tuple<std::string, double, double>;
    std::map<FontKey, std::unique_ptr<Font>> fonts_;
    std::vector<std::uint8_t> mask_; /**< how far the text covers each pixel of a box */
};

}  // namespace kep::host

#endif
