#include "media/hub/capture_session.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

#include "error_lines.h"
#include "media/hub/lease.h"
#include "wait_until.h"

namespace kep::host {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

struct Sound {
    int number;
};
using Block = std::shared_ptr<const Sound>;

std::size_t weightOf(const Block&) {
    return 1;
}

/** Controls how the fake devices of a test behave. */
struct Behaviour {
    std::mutex mutex;
    std::condition_variable changed;
    bool opens = true;
    bool answers = true;
    bool gives = true;
    bool fails = false;
    int opened = 0;
    int closed = 0;

    void set(bool Behaviour::*what, bool value) {
        {
            const std::lock_guard lock(mutex);
            this->*what = value;
        }
        changed.notify_all();
    }
    int count(int Behaviour::*what) {
        const std::lock_guard lock(mutex);
        return this->*what;
    }
};

std::shared_ptr<Behaviour> behaviour;

class Session final : public CaptureSession {
  public:
    using Item = Block;

    explicit Session(const DeviceSpec& device)
        : CaptureSession(
              {Thread::microphone, milliseconds(200), milliseconds(200), milliseconds(0), milliseconds(100),
               "device " + device.text, device.text + ": no answer", device.text + ": hangs"},
              device) {}

    Hub<Block>& hub() { return hub_; }

  private:
    bool open(std::string& reason) override {
        std::unique_lock lock(behaviour_.mutex);
        behaviour_.changed.wait(lock, [this] { return behaviour_.answers; });
        if (!behaviour_.opens) reason = "is refused";
        behaviour_.opened += behaviour_.opens;
        return behaviour_.opens;
    }
    bool read(std::string& reason) override {
        std::unique_lock lock(behaviour_.mutex);
        behaviour_.changed.wait(lock,
                                [this] { return behaviour_.gives || behaviour_.fails || isInterrupted_; });
        if (behaviour_.fails) reason = "has failed";
        return !behaviour_.fails && !isInterrupted_;
    }
    void publish() override { hub_.publish(std::make_shared<Sound>(Sound{next_++})); }
    void close() override {
        const std::lock_guard lock(behaviour_.mutex);
        ++behaviour_.closed;
    }
    void endHub() override { hub_.end(); }
    void interrupt() override {
        isInterrupted_ = true;
        behaviour_.set(&Behaviour::gives, true);
    }

    const std::shared_ptr<Behaviour> own_ = behaviour;  // an abandoned session outlives its test
    Behaviour& behaviour_ = *own_;
    std::atomic<bool> isInterrupted_{false};
    int next_ = 0;
    Hub<Block> hub_;
};

class Share final : public Lease<Session> {
  public:
    static std::shared_ptr<Share> open(CaptureDevice<Session>& device, const std::string& name,
                                       std::function<void(const std::string&)> ended = nullptr) {
        auto session = device.join({name, "", name});
        if (!session) return nullptr;
        std::shared_ptr<Share> share(new Share(std::move(session), std::move(ended)));
        return share->subscribe() ? share : nullptr;
    }
    ~Share() override { close(); }

  private:
    Share(std::shared_ptr<Session> session, std::function<void(const std::string&)> ended)
        : Lease(std::move(session), {1'000, 1'000}, {nullptr, std::move(ended)}) {}
};

class CaptureSessionTest : public testing::Test {
  protected:
    CaptureSessionTest() { behaviour = own_; }
    ~CaptureSessionTest() override {
        // An abandoned session may still use it.
        behaviour_.set(&Behaviour::answers, true);
        device_.end();
        EXPECT_TRUE(waitUntil(
            [this] { return behaviour_.count(&Behaviour::closed) >= behaviour_.count(&Behaviour::opened); }));
    }

    const std::shared_ptr<Behaviour> own_ = std::make_shared<Behaviour>();
    Behaviour& behaviour_ = *own_;
    CaptureDevice<Session> device_;
    const ErrorLines lines_;
};

TEST_F(CaptureSessionTest, TheFirstConsumerGetsTheFirstBlockAndTheLastCloses) {
    {
        const auto first = Share::open(device_, "a");
        ASSERT_TRUE(first);
        Block block;
        ASSERT_TRUE(first->pull(block, true));
        EXPECT_EQ(block->number, 0);
        const auto second = Share::open(device_, "a");
        ASSERT_TRUE(second);
        EXPECT_EQ(behaviour_.count(&Behaviour::opened), 1);
        first->close();
        EXPECT_FALSE(first->pull(block, true));
        EXPECT_TRUE(second->pull(block, true));
        EXPECT_EQ(behaviour_.count(&Behaviour::closed), 0);
    }
    EXPECT_EQ(behaviour_.count(&Behaviour::closed), 1);
    EXPECT_THAT(lines_.messages(), IsEmpty());
}

TEST_F(CaptureSessionTest, AnotherDeviceIsOpenedOnceNobodyUsesTheFirst) {
    auto first = Share::open(device_, "a");
    ASSERT_TRUE(first);
    const auto second = Share::open(device_, "b");
    ASSERT_TRUE(second);
    EXPECT_EQ(second->device(), "a");
    first.reset();
    second->close();
    const auto third = Share::open(device_, "b");
    ASSERT_TRUE(third);
    EXPECT_EQ(third->device(), "b");
}

TEST_F(CaptureSessionTest, ARefusalIsLoggedOnceAndTheNextAttemptWorks) {
    behaviour_.set(&Behaviour::opens, false);
    EXPECT_FALSE(Share::open(device_, "a"));
    EXPECT_THAT(lines_.messages(), ElementsAre("device a: is refused"));
    behaviour_.set(&Behaviour::opens, true);
    EXPECT_TRUE(Share::open(device_, "a"));
}

TEST_F(CaptureSessionTest, AHangingDeviceIsAbandonedAndTheNextOpened) {
    behaviour_.set(&Behaviour::answers, false);
    EXPECT_FALSE(Share::open(device_, "a"));
    EXPECT_THAT(lines_.messages(), ElementsAre("a: no answer"));
    behaviour_.set(&Behaviour::answers, true);
    EXPECT_TRUE(Share::open(device_, "b"));
}

TEST_F(CaptureSessionTest, AFailedDeviceEndsItsConsumersOnceTheirQueuesAreDrained) {
    std::atomic<int> ends{0};
    const auto share = Share::open(device_, "a", [&](const std::string& device) {
        EXPECT_EQ(device, "a");
        // The device is closed by then, so a listener may reopen it.
        EXPECT_EQ(behaviour_.count(&Behaviour::closed), 1);
        ++ends;
    });
    ASSERT_TRUE(share);
    Block block;
    ASSERT_TRUE(share->pull(block, true));
    behaviour_.set(&Behaviour::fails, true);
    int last = block->number;
    while (share->pull(block, true)) EXPECT_EQ(block->number, ++last);
    EXPECT_TRUE(share->isLost());
    EXPECT_EQ(ends, 1);
    EXPECT_THAT(lines_.messages(), ElementsAre("device a: has failed"));
    behaviour_.set(&Behaviour::fails, false);
    EXPECT_TRUE(Share::open(device_, "a"));
}

TEST_F(CaptureSessionTest, ADeviceThatDeliversNothingIsLost) {
    const auto share = Share::open(device_, "a");
    ASSERT_TRUE(share);
    behaviour_.set(&Behaviour::gives, false);
    for (Block block; share->pull(block, true);) {
    }
    EXPECT_TRUE(share->isLost());
    EXPECT_THAT(lines_.messages(), ElementsAre("device a: has delivered nothing for 0 s"));
    behaviour_.set(&Behaviour::gives, true);
}

}  // namespace
}  // namespace kep::host
