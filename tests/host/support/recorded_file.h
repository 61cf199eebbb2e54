#ifndef VORNISA_RECORDED_FILE_H
#define VORNISA_RECORDED_FILE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

/** One stream of a file as a player gets it. */
struct RecordedStream {
    std::shared_ptr<const AVCodecParameters> codec; /**< null when the file has no such stream */
    AVRational unit = {0, 1};                       /**< time base of the packets */
    std::vector<std::shared_ptr<const AVPacket>> packets;

    explicit operator bool() const { return codec != nullptr; }
    double seconds(std::int64_t time) const { return static_cast<double>(time) * av_q2d(unit); }
    double begin() const { return packets.empty() ? 0 : seconds(packets.front()->pts); }
    double end() const {
        return packets.empty() ? 0 : seconds(packets.back()->pts + packets.back()->duration);
    }
};

struct RecordedPicture {
    double time;
    bool key;
    std::optional<std::uint32_t> number; /**< from the test picture */
    bool lit;                            /**< whether the flash is lit */
};

struct RecordedSound {
    double begin = 0; /**< time of the first sample */
    int rate = 0;
    std::vector<float> samples; /**< first channel; silence where the file has a gap */

    double time(double sample) const { return begin + sample / rate; }
};

/** A media file, demultiplexed and decoded in the libraries' strictest mode. */
class RecordedFile {
  public:
    /** @param edits whether to apply the file's edit lists, as players do */
    explicit RecordedFile(const std::string& path, bool edits = true);
    /** Reads a file in memory. */
    explicit RecordedFile(const std::vector<std::uint8_t>& content);

    /** The libraries' error messages; grows while decoding. */
    const std::vector<std::string>& errors() const { return errors_; }
    const RecordedStream& video() const { return video_; }
    const RecordedStream& audio() const { return audio_; }

    std::vector<RecordedPicture> decodePictures();
    RecordedSound decodeSound();

  private:
    void read(AVFormatContext* input, const char* name, bool edits);
    template <class Take>
    void decode(const RecordedStream& stream, const Take& take);

    std::vector<std::string> errors_;
    RecordedStream video_;
    RecordedStream audio_;
};

/** The times at which the beeps of the test tone begin. */
std::vector<double> beepsOf(const RecordedSound& sound);
/** The times of the first picture of each flash, except of one already lit in the file's first picture. */
std::vector<double> flashesOf(const std::vector<RecordedPicture>& pictures);

#endif
