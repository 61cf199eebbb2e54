#ifndef VORNISA_WHOLE_FILE_H
#define VORNISA_WHOLE_FILE_H

#include <string>
#include <vector>

#include "file_outcomes.h"

namespace kep::host {

/** A top-level box, as MP4 readers walk through a file. */
struct Box {
    std::string kind;
    std::size_t begin;
    std::size_t end; /**< may be beyond the end of the file */
};

/** The boxes of a file up to the first invalid header. */
std::vector<Box> boxesOf(const Bytes& content);

/** Whether a file has reached its first fragment: before that it contains nothing playable. */
bool hasFragment(const Bytes& content);

/** Whether the indexes of a file, at its end and in its header, refer to fragments only. */
bool hasRightIndex(const Bytes& content);

/** A finished fragmented recording, the reference for judging its remains. */
class WholeFile {
  public:
    /** How many of its packets another file holds. */
    struct Held {
        std::string fault;
        std::size_t pictures = 0;
        std::size_t sounds = 0;
    };

    /** @param begin seconds from the very first picture to the first one of this file */
    WholeFile(Bytes content, double begin);

    const Bytes& content() const { return content_; }
    /** Start of each packet, in seconds after the very first picture. */
    const std::vector<double>& pictures() const { return pictures_; }
    const std::vector<double>& sounds() const { return sounds_; }
    const Bytes& picture(std::size_t number) const { return packets_.video.at(number).payload; }

    /** What a strict reader finds in a file that holds the beginning of this one. */
    Held heldBy(const Bytes& content) const;
    /**
     * The number of leading bytes, in whole fragments, that a file shares with this one. `tail` is what
     * players find after them: the kind of a box that players ignore, "end" for nothing, or "!" and a fault.
     */
    std::size_t sameBytes(const Bytes& content, std::string& tail) const;

  private:
    struct Packet {
        Bytes payload;
        double time; /**< as stored in the file */
        bool operator==(const Packet&) const = default;
    };
    struct Packets {
        std::string fault;
        std::vector<Packet> video;
        std::vector<Packet> audio;
    };

    static Packets read(const Bytes& content);

    Bytes content_;
    Packets packets_;
    std::vector<std::size_t> ends_; /**< offsets at which complete fragments end */
    std::size_t header_ = 0;        /**< offset of the first fragment */
    std::vector<double> pictures_;
    std::vector<double> sounds_;
};

}  // namespace kep::host

#endif
