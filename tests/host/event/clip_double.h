#ifndef VORNISA_CLIP_DOUBLE_H
#define VORNISA_CLIP_DOUBLE_H

#include <map>
#include <set>

#include "media/recording/muxer.h"
#include "pipeline_fixture.h"

namespace kep::host {

/** Stands where a muxer does and keeps the clips that it is given: class TestClips. */
class TestClips final : public Element, public ClipWriter {
  public:
    struct Written {
        std::string url;
        std::vector<SharedPacket> packets;
        bool finished = false;
    };

    ~TestClips() override { retire(); }
    void take(const SharedPacket& packet, const Element& from) override;
    std::unique_ptr<Clip> beginClip(const std::string& url, OnFailed failed) override;

    /** Clips in the order of their beginnings. */
    std::vector<Written> clips();
    bool waitForFinished(std::size_t count);
    /** What came as a stream, past the clips. */
    std::size_t streamed();

    /** A clip of this URL is refused. */
    void refuse(const std::string& url);
    /** A clip of this URL fails after so many packets. */
    void failAfter(const std::string& url, std::size_t packets);
    /** A clip of this URL cannot be finished. */
    void leaveNothingOf(const std::string& url);
    /** While it is closed, whoever writes a clip waits. */
    void setOpen(bool open);
    bool isSomebodyWaiting();

  private:
    class DoubleClip;

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Written> clips_;
    std::set<std::string> refused_;
    std::set<std::string> unfinishable_;
    std::map<std::string, std::size_t> failing_;
    std::size_t streamed_ = 0;
    bool open_ = true;
    int waiting_ = 0;
};

}  // namespace kep::host

#endif
