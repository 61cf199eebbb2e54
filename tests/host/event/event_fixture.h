#ifndef VORNISA_EVENT_FIXTURE_H
#define VORNISA_EVENT_FIXTURE_H

#include <string>
#include <vector>

#include "clip_double.h"

namespace kep::host {

using std::chrono::seconds;

/** Pushes a picture every 40 ms and audio every 21 ms, with synthetic time stamps. */
class SyntheticStream {
  public:
    explicit SyntheticStream(TestSource& source, int group = 25) : source_(source), group_(group) {}

    /** Pushes the next `ms` milliseconds. */
    void run(int ms);
    /** Continues `ms` milliseconds later, with a key frame. */
    void pause(int ms);
    void setGroup(int pictures) { group_ = pictures; }

    SteadyTime now() const { return now_; }
    /** Monotonic time `ms` after the beginning of the stream, as the text of an attribute. */
    std::string at(int ms) const;
    const std::vector<SharedPacket>& given() const { return given_; }

  private:
    void give(const SharedPacket& packet);

    TestSource& source_;
    int group_;
    int sinceKey_ = 0;
    // Whole milliseconds, as a trigger's time is, and far enough back to stay behind the clock however long a
    // test runs the stream.
    const SteadyTime origin_ = std::chrono::time_point_cast<milliseconds>(Clock::now()) - seconds(20);
    SteadyTime now_ = origin_;
    SteadyTime nextPicture_ = origin_;
    SteadyTime nextSound_ = origin_;
    std::vector<SharedPacket> given_;
};

/** The expected packets of a clip: `given` from the last key frame at or before `begin` up to `end`. */
std::vector<SharedPacket> clipOf(const std::vector<SharedPacket>& given, SteadyTime begin, SteadyTime end);

/** An event service that writes its clips to TestClips. */
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
