#ifndef VORNISA_CLIP_DOUBLE_H
#define VORNISA_CLIP_DOUBLE_H

#include <map>
#include <set>

#include "media/recording/muxer.h"
#include "pipeline_fixture.h"

namespace kep::host {

/** Takes the place of a muxer and keeps the clips it is asked to write: class TestClips. */
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

    /** The clips in the order in which they were begun. */
    std::vector<Written> clips();
    bool waitForFinished(std::size_t count);
    /** Number of packets received outside of clips. */
    std::size_t streamed();

    /** Makes beginClip() refuse this URL. */
    void refuse(const std::string& url);
    /** Makes the clip of this URL fail after `packets` packets. */
    void failAfter(const std::string& url, std::size_t packets);
    /** Makes the clip of this URL fail in finish(). */
    void failFinish(const std::string& url);
    /** While closed, writing to a clip blocks. */
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
