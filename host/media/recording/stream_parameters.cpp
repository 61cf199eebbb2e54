#include "media/recording/stream_parameters.h"

#include <cstring>

#include "media/audio/aac_encoder.h"

extern "C" {
#include <libavcodec/bsf.h>
}

namespace kep::host {
namespace {

struct FilterDeleter {
    void operator()(AVBSFContext* filter) const { av_bsf_free(&filter); }
};

bool setExtradata(AVCodecParameters& parameters, const std::uint8_t* bytes, std::size_t size) {
    av_freep(&parameters.extradata);
    parameters.extradata_size = 0;
    parameters.extradata = static_cast<std::uint8_t*>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
    if (!parameters.extradata) return false;
    std::memcpy(parameters.extradata, bytes, size);
    parameters.extradata_size = static_cast<int>(size);
    return true;
}

/** Takes the parameter sets out of a key frame. */
bool readParameterSets(const MediaPacket& first, AVCodecParameters& parameters) {
    AVBSFContext* made = nullptr;
    if (av_bsf_alloc(av_bsf_get_by_name("extract_extradata"), &made) < 0) return false;
    const std::unique_ptr<AVBSFContext, FilterDeleter> filter(made);
    const PacketPtr packet(av_packet_alloc());
    if (!packet || avcodec_parameters_copy(filter->par_in, &parameters) < 0 ||
        av_bsf_init(filter.get()) < 0 || av_new_packet(packet.get(), first.size) < 0)
        return false;
    std::memcpy(packet->data, first.bytes.get(), static_cast<std::size_t>(first.size));
    if (av_bsf_send_packet(filter.get(), packet.get()) < 0 ||
        av_bsf_receive_packet(filter.get(), packet.get()) < 0)
        return false;
    std::size_t size = 0;
    const std::uint8_t* const found = av_packet_get_side_data(packet.get(), AV_PKT_DATA_NEW_EXTRADATA, &size);
    return found && setExtradata(parameters, found, size);
}

}  // namespace

bool describeStream(const Media& media, const MediaPacket* first, AVCodecParameters& parameters,
                    std::string& reason) {
    const bool video = media.kind == Media::Kind::video;
    parameters.codec_type = video ? AVMEDIA_TYPE_VIDEO : AVMEDIA_TYPE_AUDIO;
    parameters.codec_id = media.codec;
    parameters.bit_rate = media.bitRate;
    if (video) {
        parameters.width = media.width;
        parameters.height = media.height;
        parameters.format = AV_PIX_FMT_YUV420P;
        parameters.color_range = AVCOL_RANGE_MPEG;
        parameters.color_space = media.colours;
        if (media.colours == AVCOL_SPC_BT709) {
            parameters.color_primaries = AVCOL_PRI_BT709;
            parameters.color_trc = AVCOL_TRC_BT709;
        }
    } else {
        parameters.sample_rate = media.sampleRate;
        parameters.frame_size = AacEncoder::kUnitSamples;
        av_channel_layout_default(&parameters.ch_layout, media.channels);
    }
    bool known = false;
    if (!media.parameters.empty()) {
        known = setExtradata(parameters, media.parameters.data(), media.parameters.size());
    } else if (video) {
        known = first && readParameterSets(*first, parameters);
    }
    if (!known)
        reason = std::string("no file can be made of this ") + avcodec_get_name(media.codec) +
                 " stream: it lacks what its decoder must know beforehand";
    return known;
}

}  // namespace kep::host
