#ifndef VORNISA_STREAM_FIXTURE_H
#define VORNISA_STREAM_FIXTURE_H

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "command_output.h"
#include "kep/status.h"
#include "kep/streaming.h"
#include "media/common/ffmpeg.h"
#include "message_box.h"
#include "picture_probe.h"

namespace kep::host {

using api::streaming::IH264Source;
using api::streaming::IYuvSource;
using api::streaming::common::frame_t;
using Frame = std::shared_ptr<frame_t>;
using Clock = std::chrono::steady_clock;

inline constexpr std::chrono::seconds patience(20);

/** Stops and deletes a source. */
template <class Source>
struct Deleter {
    void operator()(Source* source) const { delete static_cast<object_base*>(source); }
};
template <class Source>
using Owned = std::unique_ptr<Source, Deleter<Source>>;

Owned<IH264Source> newH264(int width = 640, int height = 360, int rate = 60);
Owned<IYuvSource> newYuv(int width = 640, int height = 360, int rate = 60);

/** Pulls `count` frames; fewer if the stream ends. */
std::vector<Frame> pull(api::streaming::common::IStreamOutput& source, std::size_t count);

bool isPlaying(object_base& source);
State stateOf(object_base& source);

/** Collects the messages of a source. */
class Messages {
  public:
    explicit Messages(api::streaming::common::IStreamControl& source);
    /** As MessageBox::waitFor(). */
    std::string waitFor(const std::string& beginning, const std::string& part = "") {
        return box_->waitFor(beginning, part);
    }
    /** Waits until at least `count` pictures have been reported as lost. */
    bool waitForLost(std::int64_t count);
    std::vector<std::string> all() { return box_->all(); }

  private:
    std::shared_ptr<MessageBox> box_ = std::make_shared<MessageBox>();
};

/** Decodes access units, one picture each. */
class Decoder {
  public:
    Decoder();
    /** The decoded picture; null, with a failed expectation, if decoding fails. */
    const AVFrame* decode(const frame_t& unit);

  private:
    CodecPtr codec_;
    PacketPtr packet_{av_packet_alloc()};
    FramePtr frame_{av_frame_alloc()};
};

LumaPlane lumaOf(const AVFrame& frame);
LumaPlane lumaOf(const frame_t& raw, int width, int height);

/** Reads the numbers shown in the pictures; the stream must begin with a key frame. */
std::vector<std::int64_t> numbersOf(const std::vector<Frame>& units);
std::vector<std::int64_t> numbersOf(const std::vector<Frame>& pictures, int width, int height);
/**
 * Expects consecutive numbers. A stalled machine can make a camera miss pictures: gaps are allowed only for
 * pictures that the stream has reported as lost.
 */
void expectRunningOn(const std::vector<std::int64_t>& numbers, Messages& messages);
std::vector<std::int64_t> indicesOf(const std::vector<Frame>& frames);
/** Indices of the key frames. */
std::vector<std::size_t> keysOf(const std::vector<Frame>& units);

/** Selects the test camera, and provides a temporary folder. */
class VideoTest : public testing::Test {
  protected:
    VideoTest();
    ~VideoTest() override;
    void choose(const std::string& camera);
    std::filesystem::path path(const std::string& name) const { return folder_ / name; }
    /** Runs `ffmpeg` in the folder; `arguments` follow its global options. */
    void makeFile(const std::string& arguments) const;
    /** Records a stream of the test picture to a file. */
    std::filesystem::path film(const std::string& name, std::size_t frames);

  private:
    std::filesystem::path folder_;
};

}  // namespace kep::host

#endif
