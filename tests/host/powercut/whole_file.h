#ifndef VORNISA_WHOLE_FILE_H
#define VORNISA_WHOLE_FILE_H

#include <string>
#include <vector>

#include "file_outcomes.h"

namespace kep::host {

/** One box after the other, as every reader of MP4 goes through a file. */
struct Box {
    std::string kind;
    std::size_t begin;
    std::size_t end; /**< may lie behind the end of the file */
};

/** The boxes of a file up to where there is no header any more that could be one. */
std::vector<Box> boxesOf(const Bytes& content);

/** Whether a file has come to its first fragment: before that there is nothing in it to be played. */
bool hasFragment(const Bytes& content);

/** Whether the indexes of a file, at its end and in its header, lead to fragments and nowhere else. */
bool hasRightIndex(const Bytes& content);

/** A finished recording in fragments, against which what is left of it is judged. */
class WholeFile {
  public:
    /** How many of its packets a file has. */
    struct Held {
        std::string fault;
        std::size_t pictures = 0;
        std::size_t sounds = 0;
    };

    /** @param begin seconds from the first picture of all to that of this file */
    WholeFile(Bytes content, double begin);

    const Bytes& content() const { return content_; }
    /** When each packet begins, in seconds after the first picture of all. */
    const std::vector<double>& pictures() const { return pictures_; }
    const std::vector<double>& sounds() const { return sounds_; }
    const Bytes& picture(std::size_t number) const { return packets_.video.at(number).payload; }

    /** What a reader that forgives nothing finds in a file that holds the beginning of this one. */
    Held heldBy(const Bytes& content) const;
    /**
     * How many bytes of a file, in whole fragments, are those of this one. `tail` is what players find behind
     * them: the kind of a box that none of them plays, "end" for nothing, or "!" and what is wrong.
     */
    std::size_t sameBytes(const Bytes& content, std::string& tail) const;

  private:
    struct Packet {
        Bytes payload;
        double time; /**< in the file */
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
    std::vector<std::size_t> ends_; /**< of what is complete by itself */
    std::size_t header_ = 0;        /**< where the first fragment begins */
    std::vector<double> pictures_;
    std::vector<double> sounds_;
};

}  // namespace kep::host

#endif
