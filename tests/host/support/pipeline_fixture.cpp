#include "pipeline_fixture.h"

#include <pthread.h>

#include "kep/entry_points.h"
#include "objects/class_registry.h"

namespace kep::host {

namespace {

const ClassRegistration<TestSource> source("TestSource");
const ClassRegistration<TestSink> sink("TestSink");
const ClassRegistration<TestWitness> witness("TestWitness");

std::shared_ptr<MediaPacket> packetOf(Media::Kind kind, SteadyTime stamp, int size) {
    auto media = std::make_shared<Media>();
    media->kind = kind;
    media->codec = kind == Media::Kind::video ? AV_CODEC_ID_H264 : AV_CODEC_ID_AAC;
    auto packet = std::make_shared<MediaPacket>();
    packet->media = media;
    packet->stamp = stamp;
    packet->size = size;
    const auto bytes = std::make_shared<std::vector<std::uint8_t>>(static_cast<std::size_t>(size));
    packet->bytes = {bytes, bytes->data()};
    return packet;
}

}  // namespace

SharedPacket videoPacket(SteadyTime stamp, bool key, int size) {
    auto packet = packetOf(Media::Kind::video, stamp, size);
    packet->key = key;
    return packet;
}

SharedPacket audioPacket(SteadyTime stamp, int size) {
    return packetOf(Media::Kind::audio, stamp, size);
}

void TestSource::requestKeyFrame(SteadyTime at) {
    const std::lock_guard lock(mutex_);
    keyFrameRequests_.push_back(at);
}

std::vector<SteadyTime> TestSource::keyFrameRequests() {
    const std::lock_guard lock(mutex_);
    return keyFrameRequests_;
}

void TestSink::take(const SharedPacket& packet, const Element&) {
    std::unique_lock lock(mutex_);
    char name[16] = {};
    pthread_getname_np(pthread_self(), name, sizeof name);
    thread_ = std::this_thread::get_id();
    threadName_ = name;
    isWaitedFor_ = !open_;
    changed_.wait(lock, [this] { return open_; });
    isWaitedFor_ = false;
    packets_.push_back(packet);
    changed_.notify_all();
}

void TestSink::takeCut(const Element&) {
    const std::lock_guard lock(mutex_);
    cutAfter_ = static_cast<int>(packets_.size());
}

std::vector<SharedPacket> TestSink::packets() {
    const std::lock_guard lock(mutex_);
    return packets_;
}

std::vector<std::int64_t> TestSink::stamps(SteadyTime origin) {
    std::vector<std::int64_t> stamps;
    for (const SharedPacket& packet : packets())
        stamps.push_back(std::chrono::round<milliseconds>(packet->stamp - origin).count());
    return stamps;
}

bool TestSink::waitFor(std::size_t count) {
    const auto limit = Clock::now() + patience;
    for (;;) {
        {
            std::unique_lock lock(mutex_);
            if (changed_.wait_until(lock, Clock::now() + milliseconds(5),
                                    [&] { return packets_.size() >= count; }))
                return true;
        }
        if (Clock::now() > limit) return false;
        giveDue();
    }
}

int TestSink::cutAfter() {
    const std::lock_guard lock(mutex_);
    return cutAfter_;
}

void TestSink::setOpen(bool open) {
    {
        const std::lock_guard lock(mutex_);
        open_ = open;
    }
    changed_.notify_all();
}

bool TestSink::isWaitedFor() {
    const std::lock_guard lock(mutex_);
    return isWaitedFor_;
}

std::thread::id TestSink::thread() {
    const std::lock_guard lock(mutex_);
    return thread_;
}

std::string TestSink::threadName() {
    const std::lock_guard lock(mutex_);
    return threadName_;
}

std::vector<std::string> TestWitness::events;

void TestWitness::note(const char* what, State target) const {
    events.push_back(name() + what +
                     (target == State::play    ? "play"
                      : target == State::ready ? "ready"
                                               : "null"));
}

bool TestWitness::up(State target) {
    note(" up to ", target);
    return true;
}

bool TestWitness::down(State target) {
    note(" down to ", target);
    return true;
}

Described::Described(const std::string& text) : object_(dynamic_cast<ObjectImpl*>(kepCreate(text.c_str()))) {
    if (!object_) return;
    object_->RegisterMessageProcessCallback([box = box_](base::Message& message) {
        box->put(message.ToString());
        return true;
    });
}

void Described::reset() {
    if (object_) kepDestroy(object_);
    object_ = nullptr;
}

std::string refusalOf(const std::string& text) {
    const ErrorLines lines;
    const Described refused(text);
    EXPECT_FALSE(refused) << text;
    const std::vector<std::string> messages = lines.messages();
    EXPECT_EQ(messages.size(), 1U) << testing::PrintToString(messages);
    return messages.empty() ? std::string() : messages.front();
}

}  // namespace kep::host
