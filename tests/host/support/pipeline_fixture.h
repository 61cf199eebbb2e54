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

/** Synthetic packets with `size` zero bytes. */
SharedPacket videoPacket(SteadyTime stamp, bool key, int size = 10);
SharedPacket audioPacket(SteadyTime stamp, int size = 10);

/** A source that pushes packets on the calling thread: class TestSource. */
class TestSource final : public SourceElement {
  public:
    ~TestSource() override { retire(); }
    void push(const SharedPacket& packet) { give(packet); }
    void cut() { giveCut(); }
    void requestKeyFrame(SteadyTime at) override;
    /** Times of the requested key frames, oldest first. */
    std::vector<SteadyTime> keyFrameRequests();

  private:
    std::mutex mutex_;
    std::vector<SteadyTime> keyFrameRequests_;
};

/** Keeps the packets that it receives: class TestSink. */
class TestSink final : public Element {
  public:
    ~TestSink() override { retire(); }
    void take(const SharedPacket& packet, const Element& from) override;
    void takeCut(const Element&) override;
    /** The value of setAtOnce(); false by default. */
    bool takesAtOnce() const override { return atOnce_; }
    void setAtOnce(bool atOnce) { atOnce_ = atOnce; }

    std::vector<SharedPacket> packets();
    /** The stamps in milliseconds after `origin`. */
    std::vector<std::int64_t> stamps(SteadyTime origin);
    /** Waits for `count` packets; meanwhile calls giveDue() every 5 ms. */
    bool waitFor(std::size_t count);
    /** Number of packets received before the last cut; -1 without a cut. */
    int cutAfter();
    /** While closed, take() blocks. */
    void setOpen(bool open);
    /** Whether a take() is blocked on a closed sink. */
    bool isWaitedFor();
    /** The thread that delivered the last packet. */
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

/** Logs its state changes to `events`: class TestWitness. */
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

/** Owns an object created from a description. */
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

    /** Waits for a message that starts with `beginning` and contains `part`; empty on timeout. */
    std::string waitForMessage(const std::string& beginning, const std::string& part = "") {
        return box_->waitFor(beginning, part);
    }
    /** All messages so far that start with `beginning`. */
    std::vector<std::string> messages(const std::string& beginning) { return box_->all(beginning); }

  private:
    ObjectImpl* object_ = nullptr;
    std::shared_ptr<MessageBox> box_ = std::make_shared<MessageBox>();
};

/**
 * The single error line logged when a description is refused; fails the test unless it is refused with
 * exactly one.
 */
std::string refusalOf(const std::string& text);

}  // namespace kep::host

#endif
