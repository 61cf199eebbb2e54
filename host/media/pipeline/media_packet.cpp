#include "media/pipeline/media_packet.h"

#include "kep/attr_set.h"

namespace kep::host {

std::shared_ptr<Media> Media::sound(AVCodecID codec, AudioFormat format) {
    auto media = std::make_shared<Media>();
    media->kind = Kind::audio;
    media->codec = codec;
    media->sampleRate = format.rate;
    media->channels = format.channels;
    return media;
}

void Media::toString(std::string& text) const {
    base::AttrSet attributes;
    attributes.Add("type", nameOf(kind));
    attributes.Add("codec", avcodec_get_name(codec));
    if (kind == Kind::video) {
        attributes.Add<int>("width", width);
        attributes.Add<int>("height", height);
        if (frameRate.num > 0) {
            std::string rate = std::to_string(frameRate.num);
            if (frameRate.den != 1) rate += "/" + std::to_string(frameRate.den);
            attributes.Add("framerate", rate.c_str());
        }
    } else {
        attributes.Add<int>("samplerate", sampleRate);
        attributes.Add<int>("channels", channels);
    }
    if (bitRate > 0) attributes.Add<int>("bitrate", bitRate);
    if (timescale > 0) attributes.Add("timebase", ("1/" + std::to_string(timescale)).c_str());
    text = attributes.ToString(false);
}

}  // namespace kep::host
