#ifndef KEP_HOST_JPEG_ENCODER_H
#define KEP_HOST_JPEG_ENCODER_H

#include <csetjmp>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

extern "C" {
#include <jpeglib.h>
}

#include "media/video/jfif_colours.h"

namespace kep::host {

/** Makes JPEG files out of pictures, with the quantisation tables that the quality has everywhere. */
class JpegEncoder {
  public:
    JpegEncoder();
    ~JpegEncoder();
    JpegEncoder(const JpegEncoder&) = delete;
    JpegEncoder& operator=(const JpegEncoder&) = delete;

    /**
     * Encodes planar YUV 4:2:0 of limited range and even size.
     *
     * @param quality 1 to 100
     * @param reason  why there is no file, when false is returned
     */
    bool encode(const AVFrame& picture, int quality, std::string& reason);

    /** The file made last. */
    const JOCTET* data() const { return destination_.bytes.data(); }
    std::size_t size() const { return destination_.size; }

  private:
    struct Errors {
        jpeg_error_mgr base; /**< first, as the library gives back its address alone */
        std::jmp_buf back;
    };

    /** Keeps its memory from picture to picture. */
    struct Destination {
        jpeg_destination_mgr base; /**< first, as above */
        std::vector<JOCTET> bytes;
        std::size_t size;
    };

    [[noreturn]] static void fail(j_common_ptr codec);
    static void begin(j_compress_ptr codec);
    static boolean grow(j_compress_ptr codec);
    static void finish(j_compress_ptr codec);
    void compress(const AVFrame& picture, int quality);

    Errors errors_{};
    jpeg_compress_struct codec_{};
    std::optional<JfifColours> colours_;
    Destination destination_{};
};

}  // namespace kep::host

#endif
