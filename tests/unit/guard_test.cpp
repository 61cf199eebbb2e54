#include <pthread.h>
#include <unistd.h>

#include <atomic>

#include "fixture.h"

namespace unit {
namespace {

/** A call that meets an exception in the framework. */
struct Call {
    const char* name;
    int (*call)(int id);
    const char* function;
    const char* step; /**< of the framework, which throws */
    kep::object_base* (*object)();
};

void PrintTo(const Call& call, std::ostream* out) {
    *out << call.name;
}

template <class Object>
kep::object_base* make() {
    return new Object;
}

kep::object_base* makePlaying() {
    auto* const object = new Stream<InputPart>;
    object->state = kep::State::play;
    return object;
}

void ignore(const char*) {}

int acquire(int) {
    int id = 0;
    const int result = VNAcquire(VNRES_DEMUX, &id);
    EXPECT_EQ(id, 0);
    return result;
}

int readOne(int id) {
    char buffer[8];
    return VNRead(id, buffer, sizeof buffer, 1, nullptr);
}

int feed(int id) {
    char byte = 0;
    return VNFeed(id, &byte, 1);
}

int askWhetherRunning(int id) {
    int running = 0;
    return VNIsRunning(id, &running);
}

const Call calls[] = {
    {"Acquire", acquire, "VNAcquire", "kepCreate", make<Stream<>>},
    {"StartStream", VNStart, "VNStart", "IStreamControl::ChangeUp", make<Stream<ControlPart>>},
    {"StartObject", VNStart, "VNStart", "IParam::SetStr", make<PlainObject>},
    {"StopStream", VNStop, "VNStop", "IStreamControl::ChangeDown", make<Stream<ControlPart>>},
    {"StopObject", VNStop, "VNStop", "IParam::SetStr", make<PlainObject>},
    {"IsRunning", askWhetherRunning, "VNIsRunning", "IStatus::StatusIsPlay", make<Stream<StatusPart>>},
    {"RegisterWithStream", [](int id) { return VNRegisterMessageCallback(id, ignore); },
     "VNRegisterMessageCallback", "IStreamControl::RegisterMessageCallback", make<Stream<ControlPart>>},
    {"RegisterWithObject", [](int id) { return VNRegisterMessageCallback(id, ignore); },
     "VNRegisterMessageCallback", "IMessageProcesser::RegisterMessageProcessCallback",
     make<Stream<MessagePart>>},
    {"Register2", [](int id) { return VNRegisterMessageCallback2(id, ignore, nullptr); },
     "VNRegisterMessageCallback2", "IMessageProcesser::RegisterMessageProcessCallback",
     make<Stream<MessagePart>>},
    {"SetAudio", [](int id) { return VNSetAudio(id, 1, 2); }, "VNSetAudio", "IAudio::SetChannels",
     make<Stream<ControlPart, AudioPart>>},
    {"SetBps", [](int id) { return VNSetBps(id, 1); }, "VNSetBps", "IEncoder::SetBitRate",
     make<Stream<EncoderPart>>},
    {"SetFramerate", [](int id) { return VNSetFramerate(id, 1); }, "VNSetFramerate",
     "IBitRateControl::SetFrameRate", make<Stream<BitRateControlPart>>},
    {"SetResolution", [](int id) { return VNSetResolution(id, 1, 2); }, "VNSetResolution",
     "IVideo::SetHeight", make<Stream<VideoPart>>},
    {"GetKeyFrame", VNGetKeyFrame, "VNGetKeyFrame", "IH264::RequestKeyFrame", make<Stream<H264Part>>},
    {"SetH264Gop", [](int id) { return VNSetH264Gop(id, 1); }, "VNSetH264Gop", "IH264::SetGop",
     make<Stream<H264Part>>},
    {"SetParams", [](int id) { return VNSetParams(id, ""); }, "VNSetParams", "IAttributes::fromString",
     make<PlainObject>},
    {"Read", readOne, "VNRead", "IStreamOutput::PullFrame", make<Stream<OutputPart>>},
    {"Feed", feed, "VNFeed", "IStreamInput::PushFrame", makePlaying},
};

class GuardTest : public PluginTest, public ::testing::WithParamInterface<Call> {};

TEST_P(GuardTest, TurnsAnExceptionIntoAFailureAndALogLine) {
    const int id = handleOf(GetParam().object());
    script.throwAt(GetParam().step);
    EXPECT_EQ(GetParam().call(id), VNRES_FAIL);
    const Events events = happened();
    EXPECT_EQ(events.back(), error(GetParam().function, "exception:std::bad_alloc"));
    int errors = 0;
    for (const std::string& event : events) errors += event.compare(0, 9, "line on 8") == 0;
    EXPECT_EQ(errors, 1);
}

TEST_P(GuardTest, TurnsAThrownIntIntoAFailureAndALogLine) {
    const int id = handleOf(GetParam().object());
    script.throwIntAt(GetParam().step);
    EXPECT_EQ(GetParam().call(id), VNRES_FAIL);
    EXPECT_EQ(happened().back(), error(GetParam().function, "exception:unknown"));
}

INSTANTIATE_TEST_SUITE_P(Calls, GuardTest, ::testing::ValuesIn(calls),
                         [](const auto& test) { return std::string(test.param.name); });

/** A source whose pull blocks forever. */
class Endless : public Stream<OutputPart> {
  public:
    bool PullFrame(std::shared_ptr<common::frame_t>&, bool) override {
        waiting = true;
        for (;;) pause();
    }
    std::atomic<bool> waiting{false};
};

void* readInThread(void* id) {
    readOne(*static_cast<int*>(id));
    return nullptr;
}

using CancelTest = PluginTest;

TEST_F(CancelTest, AThreadThatWaitsForAFrameCanBeCancelled) {
    auto* const object = new Endless;
    int id = handleOf(object);
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, nullptr, readInThread, &id), 0);
    while (!object->waiting) usleep(1000);
    ASSERT_EQ(pthread_cancel(thread), 0);
    void* result = nullptr;
    ASSERT_EQ(pthread_join(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_EQ(happened(), Events{"IStreamOutput::IsSupportedPullFrame()"});
}

}  // namespace
}  // namespace unit
