#ifndef VORNISA_JUDGED_FILE_H
#define VORNISA_JUDGED_FILE_H

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

/** A recording as other programs read it. */
class JudgedFile {
  public:
    struct Packet {
        double time;
        double duration;
        bool key;
        int size;
    };
    struct Picture {
        double time;
        std::int64_t number;
        bool flash;
    };

    /**
     * Fails the test if the file does not open or does not decode without an error. Reads its pictures, at
     * the given size, and its sound only if they are those of the test sources.
     */
    explicit JudgedFile(const std::filesystem::path& path, int width = 640, int height = 360,
                        bool ofTestSources = true);

    const std::filesystem::path& path() const { return path_; }
    const std::vector<Packet>& video() const { return video_; }
    const std::vector<Packet>& audio() const { return audio_; }
    /** All pictures, decoded. */
    const std::vector<Picture>& pictures() const { return pictures_; }
    /** Times of the first picture of each flash. */
    std::vector<double> flashes() const;
    /** Times at which the test tone changes to its beep, exact to a sample or two. */
    std::vector<double> beeps() const;
    /** From the first picture to the end of the last one, in seconds. */
    double length() const;
    /** From the beginning of the earliest packet, picture or sound, to the end of the latest, in seconds. */
    double wholeLength() const;
    /** Size of the decoder configuration of the pictures. */
    int parameterBytes() const;

  private:
    std::vector<Packet> readPackets(const char* stream) const;
    void readPictures(int width, int height);
    void readSound();

    std::filesystem::path path_;
    std::vector<Packet> video_;
    std::vector<Packet> audio_;
    std::vector<Picture> pictures_;
    std::vector<float> samples_; /**< one channel of the decoded sound */
};

/** The files of a folder, oldest first. */
std::vector<std::filesystem::path> filesIn(const std::filesystem::path& folder);

#endif
