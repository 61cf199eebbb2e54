#ifndef KEP_HOST_AUDIO_STREAMS_H
#define KEP_HOST_AUDIO_STREAMS_H

#include <memory>

#include "kep/streaming.h"

namespace kep::host {

std::unique_ptr<api::streaming::IPcmSource> makePcmSource();
std::unique_ptr<api::streaming::IAacSource> makeAacSource();
std::unique_ptr<api::streaming::IPcmPlayer> makePcmPlayer();

}  // namespace kep::host

#endif
