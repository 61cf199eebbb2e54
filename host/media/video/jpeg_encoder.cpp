#include "media/video/jpeg_encoder.h"

#include <new>

extern "C" {
#include <jerror.h>
}

namespace kep::host {

namespace {
constexpr std::size_t firstSize = 256U << 10;
}

JpegEncoder::JpegEncoder() {
    codec_.err = jpeg_std_error(&errors_.base);
    errors_.base.error_exit = fail;
    errors_.base.output_message = [](j_common_ptr) {};
    destination_.base.init_destination = begin;
    destination_.base.empty_output_buffer = grow;
    destination_.base.term_destination = finish;
    if (setjmp(errors_.back) == 0) jpeg_create_compress(&codec_);
    codec_.dest = &destination_.base;
}

JpegEncoder::~JpegEncoder() {
    jpeg_destroy_compress(&codec_);
}

void JpegEncoder::fail(j_common_ptr codec) {
    std::longjmp(reinterpret_cast<Errors*>(codec->err)->back, 1);
}

void JpegEncoder::begin(j_compress_ptr codec) {
    Destination& to = *reinterpret_cast<Destination*>(codec->dest);
    to.size = 0;
    to.base.next_output_byte = to.bytes.data();
    to.base.free_in_buffer = to.bytes.size();
    if (to.bytes.empty()) grow(codec);
}

boolean JpegEncoder::grow(j_compress_ptr codec) {
    Destination& to = *reinterpret_cast<Destination*>(codec->dest);
    // All there is has been filled, whatever the library has noted of it.
    const std::size_t filled = to.bytes.size();
    bool grown = true;
    try {
        to.bytes.resize(filled ? filled * 2 : firstSize);
    } catch (const std::bad_alloc&) {
        grown = false;
    }
    if (!grown) ERREXIT1(codec, JERR_OUT_OF_MEMORY, 0);
    to.base.next_output_byte = to.bytes.data() + filled;
    to.base.free_in_buffer = to.bytes.size() - filled;
    return TRUE;
}

void JpegEncoder::finish(j_compress_ptr codec) {
    Destination& to = *reinterpret_cast<Destination*>(codec->dest);
    to.size = to.bytes.size() - to.base.free_in_buffer;
}

bool JpegEncoder::encode(const AVFrame& picture, int quality, std::string& reason) {
    if (!colours_ || !colours_->fits(picture)) colours_.emplace(picture);
    // A failure jumps back to here: nothing between the two may have a destructor.
    if (setjmp(errors_.back) == 0) {
        compress(picture, quality);
        return true;
    }
    char text[JMSG_LENGTH_MAX];
    errors_.base.format_message(reinterpret_cast<j_common_ptr>(&codec_), text);
    reason = text;
    jpeg_abort_compress(&codec_);
    return false;
}

void JpegEncoder::compress(const AVFrame& picture, int quality) {
    codec_.image_width = static_cast<JDIMENSION>(picture.width);
    codec_.image_height = static_cast<JDIMENSION>(picture.height);
    codec_.input_components = 3;
    codec_.in_color_space = JCS_YCbCr;
    jpeg_set_defaults(&codec_);
    jpeg_set_quality(&codec_, quality, TRUE);
    codec_.raw_data_in = TRUE;
    jpeg_start_compress(&codec_, TRUE);
    JSAMPROW luma[JfifColours::stripRows];
    JSAMPROW blue[JfifColours::chromaRows];
    JSAMPROW red[JfifColours::chromaRows];
    JSAMPARRAY planes[] = {luma, blue, red};
    for (int row = 0; row < JfifColours::stripRows; ++row) luma[row] = colours_->luma(row);
    for (int row = 0; row < JfifColours::chromaRows; ++row) {
        blue[row] = colours_->blue(row);
        red[row] = colours_->red(row);
    }
    while (codec_.next_scanline < codec_.image_height) {
        colours_->convert(picture, static_cast<int>(codec_.next_scanline));
        jpeg_write_raw_data(&codec_, planes, JfifColours::stripRows);
    }
    jpeg_finish_compress(&codec_);
}

}  // namespace kep::host
