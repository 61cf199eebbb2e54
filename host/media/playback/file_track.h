#ifndef KEP_HOST_FILE_TRACK_H
#define KEP_HOST_FILE_TRACK_H

#include <string>

#include "media/pipeline/media_packet.h"
#include "recordings/mp4_reader.h"

namespace kep::host {

/** A playable track of a file. Converts samples to packets: H.264 as a byte stream, AAC with ADTS headers. */
class FileTrack {
  public:
    /** Null, with `reason` filled, for a track that is neither. */
    static std::unique_ptr<FileTrack> make(const recordings::Mp4Track& track, std::string& reason);

    /** Null for a damaged sample. */
    std::shared_ptr<MediaPacket> packet(const recordings::Mp4Packet& read) const;
    const MediaPtr& media() const { return media_; }

  private:
    FileTrack(std::shared_ptr<Media> media, std::size_t lengthBytes)
        : media_(std::move(media)), lengthBytes_(lengthBytes) {}

    const MediaPtr media_;
    const std::size_t lengthBytes_;
};

}  // namespace kep::host

#endif
