#ifndef KEP_HOST_STREAMS_H
#define KEP_HOST_STREAMS_H

#include <memory>

#include "kep/device.h"
#include "kep/streaming.h"

namespace kep::host {

std::unique_ptr<api::streaming::IYuvSource> makeYuvSource();
std::unique_ptr<api::streaming::IH264Source> makeH264Source();
std::unique_ptr<api::streaming::IPhotography> makePhotography();
std::unique_ptr<api::streaming::IPcmSource> makePcmSource();
std::unique_ptr<api::streaming::IAacSource> makeAacSource();
std::unique_ptr<api::streaming::IPcmPlayer> makePcmPlayer();

/** The microphone and the speaker of this process. They exist even if no stream uses them. */
dev::IMicrophone& microphone();
dev::ISpeaker& speaker();

}  // namespace kep::host

#endif
