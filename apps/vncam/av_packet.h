#ifndef VNCAM_AV_PACKET_H
#define VNCAM_AV_PACKET_H

#include <memory>

extern "C" {
#include <libavcodec/packet.h>
}

namespace vncam {

struct FreePacket {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
using PacketPtr = std::unique_ptr<AVPacket, FreePacket>;

}  // namespace vncam

#endif
