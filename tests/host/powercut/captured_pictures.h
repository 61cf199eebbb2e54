#ifndef VORNISA_CAPTURED_PICTURES_H
#define VORNISA_CAPTURED_PICTURES_H

#include <optional>
#include <unordered_map>
#include <vector>

#include "file_outcomes.h"
#include "media/pipeline/media_packet.h"

namespace kep::host {

/** The pictures from an encoder, to be found again in files, byte for byte. */
class CapturedPictures {
  public:
    void add(const MediaPacket& packet);
    /** The number, from 0, of a picture read from a file; nothing if the encoder did not output it. */
    std::optional<std::size_t> find(const Bytes& picture) const;
    /** Seconds from the first picture to this one. */
    double time(std::size_t number) const;
    std::size_t count() const { return stamps_.size(); }

  private:
    std::unordered_map<std::uint64_t, std::size_t> numbers_; /**< keys are hashes of the slices */
    std::vector<SteadyTime> stamps_;
};

}  // namespace kep::host

#endif
