#ifndef VORNISA_EVENT_FIXTURE_H
#define VORNISA_EVENT_FIXTURE_H

#include <string>
#include <vector>

#include "clip_double.h"

namespace kep::host {

using std::chrono::seconds;

/** A stream of pictures every 40 ms and sound every 21 ms, with times of its own. */
class SyntheticStream {
  public:
    explicit SyntheticStream(TestSource& source, int group = 25) : source_(source), group_(group) {}

    /** Gives what comes in the next so many milliseconds. */
    void run(int ms);
    /** Goes on so many milliseconds later, with a key frame. */
    void pause(int ms);
    void setGroup(int pictures) { group_ = pictures; }

    SteadyTime now() const { return now_; }
    /** Milliseconds of the monotonic clock at `ms` after the stream's beginning. */
    std::string at(int ms) const;
    const std::vector<SharedPacket>& given() const { return given_; }

  private:
    void give(const SharedPacket& packet);

    TestSource& source_;
    int group_;
    int sinceKey_ = 0;
    // Whole milliseconds, as a trigger's time is, and not ahead of the clock for as long as tests run a
    // stream.
    const SteadyTime origin_ = std::chrono::time_point_cast<milliseconds>(Clock::now()) - seconds(20);
    SteadyTime now_ = origin_;
    SteadyTime nextPicture_ = origin_;
    SteadyTime nextSound_ = origin_;
    std::vector<SharedPacket> given_;
};

/** What a clip of this time should be made of: `given` from the last key frame at or before its beginning. */
std::vector<SharedPacket> clipOf(const std::vector<SharedPacket>& given, SteadyTime begin, SteadyTime end);

/** An event service whose clips are kept by a double. */
class Service {
  public:
    Service();
    ~Service() { app_.stop(); }

    TestSource& source() { return app_.child<TestSource>("in"); }
    TestClips& clips() { return app_.child<TestClips>("clips"); }
    Described& app() { return app_; }

    bool trigger(const std::string& pre, const std::string& post, const std::string& tp,
                 const std::string& url);

  private:
    Described app_;
};

}  // namespace kep::host

#endif
