#ifndef VNCAM_STREAM_MUXER_H
#define VNCAM_STREAM_MUXER_H

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "av_muxer.h"
#include "av_packet.h"
#include "frame_sink.h"
#include "output.h"
#include "values.h"

struct AVPacket;

namespace vncam {

/** Formats that hold video and audio together. */
enum class StreamFormat { mp4, mpegTs };

/** The format for an output's name: .mp4, .ts, and MPEG-TS for standard output. Throws UsageError for any
 * other name. */
StreamFormat streamFormatOf(const std::string& path);

struct VideoFormat {
    Size size;
    int framesPerSecond;
};
struct AudioFormat {
    int samplesPerSecond;
    int channels;
};

/** A sink for each stream of an output; null for one that it does not have. */
struct StreamSinks {
    std::unique_ptr<FrameSink> video;
    std::unique_ptr<FrameSink> audio;
};

/**
 * Joins H.264 and AAC in one output. Each stream is written through a sink of its own, by a thread of its
 * own; the last sink that is closed completes the output. Nothing is opened or written before each stream has
 * frames.
 *
 * An MP4 file consists of fragments of a second at most, so that it plays even after the process was killed.
 */
class StreamMuxer {
  public:
    static StreamSinks open(std::unique_ptr<Output> output, StreamFormat format, const VideoFormat& video,
                            const std::optional<AudioFormat>& audio);

    ~StreamMuxer();

  private:
    class Sink;

    StreamMuxer(std::unique_ptr<Output> output, StreamFormat format);

    int addVideo(const VideoFormat& format);
    int addAudio(const AudioFormat& format);
    void add(int stream, std::span<const char> frame, FrameSink::Time time);
    bool spans(std::int64_t nanoseconds) const;
    void settle();
    void begin();
    void write(AVPacket& packet);
    void close();

    const std::unique_ptr<Output> output_;
    const StreamFormat format_;
    std::mutex mutex_; /**< guards all below */
    AvMuxer muxer_;
    bool hasBegun_ = false;
    std::vector<std::int64_t> durations_; /**< of a frame of each stream */
    std::vector<PacketPtr> early_;        /**< buffered until all streams have begun */
    std::int64_t zero_ = 0;               /**< time of the first packet */
    unsigned openSinks_ = 0;
};

}  // namespace vncam

#endif
