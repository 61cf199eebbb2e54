#include "media/video/jpeg_encoder.h"

#include <csetjmp>
#include <cstdio>
#include <utility>

extern "C" {
#include <jpeglib.h>
}

#include "media/video/jfif_colours.h"

namespace kep::host {

namespace {

/** Holds most files at 1080p. With a smaller buffer libjpeg copies the file each time it grows. */
constexpr unsigned long kUsualBytes = 1U << 20;

struct Errors {
    jpeg_error_mgr base; /**< first: libjpeg passes back only its address */
    std::jmp_buf back;
};

/** libjpeg leaves this function by longjmp on failure: nothing in it may have a destructor. */
void compress(jpeg_compress_struct& codec, const AVFrame& picture, JfifColours& colours, int quality) {
    codec.image_width = static_cast<JDIMENSION>(picture.width);
    codec.image_height = static_cast<JDIMENSION>(picture.height);
    codec.input_components = 3;
    codec.in_color_space = JCS_YCbCr;
    jpeg_set_defaults(&codec);
    jpeg_set_quality(&codec, quality, TRUE);
    codec.raw_data_in = TRUE;
    jpeg_start_compress(&codec, TRUE);
    JSAMPROW luma[JfifColours::stripRows];
    JSAMPROW blue[JfifColours::chromaRows];
    JSAMPROW red[JfifColours::chromaRows];
    JSAMPARRAY planes[] = {luma, blue, red};
    for (int row = 0; row < JfifColours::stripRows; ++row) luma[row] = colours.luma(row);
    for (int row = 0; row < JfifColours::chromaRows; ++row) {
        blue[row] = colours.blue(row);
        red[row] = colours.red(row);
    }
    while (codec.next_scanline < codec.image_height) {
        colours.convert(picture, static_cast<int>(codec.next_scanline));
        jpeg_write_raw_data(&codec, planes, JfifColours::stripRows);
    }
    jpeg_finish_compress(&codec);
}

}  // namespace

JpegFile encodeJpeg(const AVFrame& picture, int quality, std::string& reason) {
    JfifColours colours(picture);
    Errors errors{};
    jpeg_compress_struct codec{};
    codec.err = jpeg_std_error(&errors.base);
    errors.base.error_exit = [](j_common_ptr common) {
        std::longjmp(reinterpret_cast<Errors*>(common->err)->back, 1);
    };
    errors.base.output_message = [](j_common_ptr) {};
    // For a larger file libjpeg allocates its own buffer, which leaks when memory runs out.
    decltype(JpegFile::bytes) usual(static_cast<unsigned char*>(std::malloc(kUsualBytes)));
    unsigned char* bytes = usual.get();
    unsigned long size = usual ? kUsualBytes : 0;
    if (setjmp(errors.back) != 0) {
        char text[JMSG_LENGTH_MAX];
        errors.base.format_message(reinterpret_cast<j_common_ptr>(&codec), text);
        reason = text;
        jpeg_destroy_compress(&codec);
        return {};
    }
    jpeg_create_compress(&codec);
    jpeg_mem_dest(&codec, &bytes, &size);
    compress(codec, picture, colours, quality);
    jpeg_destroy_compress(&codec);
    if (bytes == usual.get()) return {std::move(usual), size};
    return {decltype(JpegFile::bytes)(bytes), size};
}

}  // namespace kep::host
