#ifndef VORNISA_PIPELINE_FIXTURE_H
#define VORNISA_PIPELINE_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "error_lines.h"
#include "media/pipeline/element.h"
#include "message_box.h"
#include "wait_until.h"

namespace kep::host {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

inline constexpr std::chrono::seconds patience(20);

/** Packets made by hand. Their bytes are `size` zeroes. */
SharedPacket videoPacket(SteadyTime stamp, bool key, int size = 10);
SharedPacket audioPacket(SteadyTime stamp, int size = 10);

/** A source that gives what the test has it give, on the test's own thread: class TestSource. */
class TestSource final : public SourceElement {
  public:
    ~TestSource() override { retire(); }
    void push(const SharedPacket& packet) { give(packet); }
    void cut() { giveCut(); }
    void requestKeyFrame(SteadyTime at) override;
    /** What key frames were asked for, the first first. */
    std::vector<SteadyTime> keyFrameRequests();

  private:
    std::mutex mutex_;
    std::vector<SteadyTime> keyFrameRequests_;
};

/** Keeps what it is given: class TestSink. */
class TestSink final : public Element {
  public:
    ~TestSink() override { retire(); }
    void take(const SharedPacket& packet, const Element& from) override;
    void takeCut(const Element&) override;
    /** As setAtOnce() says; false at first. */
    bool takesAtOnce() const override { return atOnce_; }
    void setAtOnce(bool atOnce) { atOnce_ = atOnce; }

    std::vector<SharedPacket> packets();
    /** The stamps in milliseconds after `origin`. */
    std::vector<std::int64_t> stamps(SteadyTime origin);
    /** Waits until so many have come, and has what waits before it given in the meantime. */
    bool waitFor(std::size_t count);
    /** How many packets had come before the cut; -1 without one. */
    int cutAfter();
    /** While it is closed, whoever gives waits. */
    void setOpen(bool open);
    /** Whether somebody waits for it to be open. */
    bool isWaitedFor();
    /** Which thread brought the last packet. */
    std::thread::id thread();
    std::string threadName();

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<SharedPacket> packets_;
    int cutAfter_ = -1;
    bool open_ = true;
    bool isWaitedFor_ = false;
    std::atomic<bool> atOnce_{false};
    std::thread::id thread_;
    std::string threadName_;
};

/** Notes its changes of state in `events`: class TestWitness. */
class TestWitness final : public Element {
  public:
    ~TestWitness() override { retire(); }
    void take(const SharedPacket& packet, const Element&) override { give(packet); }
    static std::vector<std::string> events;

  protected:
    bool up(State target) override;
    bool down(State target) override;

  private:
    void note(const char* what, State target) const;
};

/** An object that is destroyed with its owner. */
class Described {
  public:
    explicit Described(const std::string& text);
    ~Described() { reset(); }
    Described(const Described&) = delete;
    Described& operator=(const Described&) = delete;

    explicit operator bool() const { return object_ != nullptr; }
    ObjectImpl& operator*() const { return *object_; }
    ObjectImpl* operator->() const { return object_; }
    bool play() { return object_->SetStr("status", "play"); }
    bool stop() { return object_->SetStr("status", "null"); }
    void reset();

    template <class T>
    T& child(const char* name) {
        return dynamic_cast<T&>(*object_->findChild(name, true));
    }

    /** Waits for a message that begins so and has `part` in it, and gives it whole; empty when none has come
     * in time. */
    std::string waitForMessage(const std::string& beginning, const std::string& part = "") {
        return box_->waitFor(beginning, part);
    }
    /** The messages so far that begin so. */
    std::vector<std::string> messages(const std::string& beginning) { return box_->all(beginning); }

  private:
    ObjectImpl* object_ = nullptr;
    std::shared_ptr<MessageBox> box_ = std::make_shared<MessageBox>();
};

/** The one error line that a description is refused with; fails the test when it is not one, or not refused.
 */
std::string refusalOf(const std::string& text);

}  // namespace kep::host

#endif
