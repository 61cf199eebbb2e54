#include "clip_double.h"

#include <algorithm>
#include <utility>

#include "objects/class_registry.h"

namespace kep::host {

namespace {
const ClassRegistration<TestClips> registration("TestClips");
}  // namespace

class TestClips::DoubleClip final : public Clip {
  public:
    DoubleClip(TestClips& owner, std::size_t index, OnFailed failed)
        : owner_(owner), index_(index), failed_(std::move(failed)) {}
    ~DoubleClip() override { finish(); }

    bool write(const SharedPacket& packet) override {
        std::unique_lock lock(owner_.mutex_);
        ++owner_.waiting_;
        owner_.changed_.wait(lock, [this] { return owner_.open_; });
        --owner_.waiting_;
        Written& clip = owner_.clips_[index_];
        EXPECT_FALSE(clip.finished) << clip.url;
        const auto failing = owner_.failing_.find(clip.url);
        if (failing != owner_.failing_.end() && clip.packets.size() >= failing->second) {
            fail(clip.url, "it cannot be written");
            return false;
        }
        clip.packets.push_back(packet);
        return true;
    }

    bool finish() override {
        const std::lock_guard lock(owner_.mutex_);
        Written& clip = owner_.clips_[index_];
        clip.finished = true;
        owner_.changed_.notify_all();
        const bool finishes = !owner_.unfinishable_.contains(clip.url);
        if (!finishes) fail(clip.url, "it cannot be finished");
        return finishes && !told_;
    }

  private:
    void fail(const std::string& url, const char* reason) {
        if (!std::exchange(told_, true)) failed_({url, reason, {}});
    }

    TestClips& owner_;
    const std::size_t index_;
    const OnFailed failed_;
    bool told_ = false;
};

void TestClips::take(const SharedPacket&, const Element&) {
    const std::lock_guard lock(mutex_);
    ++streamed_;
}

std::unique_ptr<Clip> TestClips::beginClip(const std::string& url, OnFailed failed) {
    const std::lock_guard lock(mutex_);
    if (refused_.contains(url)) {
        failed({url, "it is refused", {}});
        return nullptr;
    }
    clips_.push_back({url, {}, false});
    return std::make_unique<DoubleClip>(*this, clips_.size() - 1, std::move(failed));
}

std::vector<TestClips::Written> TestClips::clips() {
    const std::lock_guard lock(mutex_);
    return clips_;
}

bool TestClips::waitForFinished(std::size_t count) {
    std::unique_lock lock(mutex_);
    return changed_.wait_until(lock, Clock::now() + patience, [&] {
        return std::count_if(clips_.begin(), clips_.end(), [](const Written& clip) {
                   return clip.finished;
               }) >= static_cast<std::ptrdiff_t>(count);
    });
}

std::size_t TestClips::streamed() {
    const std::lock_guard lock(mutex_);
    return streamed_;
}

void TestClips::refuse(const std::string& url) {
    const std::lock_guard lock(mutex_);
    refused_.insert(url);
}

void TestClips::failAfter(const std::string& url, std::size_t packets) {
    const std::lock_guard lock(mutex_);
    failing_[url] = packets;
}

void TestClips::failFinish(const std::string& url) {
    const std::lock_guard lock(mutex_);
    unfinishable_.insert(url);
}

void TestClips::setOpen(bool open) {
    {
        const std::lock_guard lock(mutex_);
        open_ = open;
    }
    changed_.notify_all();
}

bool TestClips::isSomebodyWaiting() {
    const std::lock_guard lock(mutex_);
    return waiting_ > 0;
}

}  // namespace kep::host
