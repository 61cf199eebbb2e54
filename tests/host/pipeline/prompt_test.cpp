#include <cstdlib>

#include "pipeline_fixture.h"

namespace kep::host {
namespace {

TEST(PromptElement, IsOneAfterWhichNobodyWaits) {
    const struct {
        const char* after;
        bool prompt;
    } chains[] = {
        {"", true},
        {"+FrameDroper+FrameRateCtrl:fr=10", true},
        {"+FifoFilter+TestSink", true},
        {"+FrameRateCtrl:fr=10+FifoFilter+TestSink", true},
        {"+encoder-aac+FifoFilter+TestSink", true},
        {"+Sync+TestSink", true},
        {"+TestSink", false},
        {"+encoder-aac+TestSink", false},
        {"+FrameRateCtrl:fr=10+TestSink", false},
    };
    for (const auto& [after, prompt] : chains) {
        Described chain(std::string("type=pipeline,layout={TestSource+encoder-h264:name=enc") + after + "}");
        ASSERT_TRUE(chain) << after;
        EXPECT_EQ(chain.child<Element>("enc").isPrompt(), prompt) << after;
    }
}

/** What an element says of the chain after it while a queue in that chain fills up. */
struct Prompts {
    bool empty;
    bool full;
    bool emptyAgain;
};

Prompts promptsBefore(const std::string& queue, int packets) {
    Described chain("type=pipeline,layout={TestSource:name=a+FrameDroper:name=d+" + queue +
                    "+TestSink:name=z}");
    EXPECT_TRUE(chain && chain.play()) << queue;
    TestSink& sink = chain.child<TestSink>("z");
    Element& before = chain.child<Element>("d");
    sink.setOpen(false);
    Prompts prompts{before.isPrompt(), false, false};
    for (int i = 0; i < packets; ++i) chain.child<TestSource>("a").push(videoPacket(Clock::now(), true));
    prompts.full = before.isPrompt();
    sink.setOpen(true);
    EXPECT_TRUE(sink.waitFor(1));
    prompts.emptyAgain = waitUntil([&] { return before.isPrompt(); });
    return prompts;
}

/** Three in the queue, one with its thread. */
constexpr int kThreeAndOne = 4;

TEST(PromptElement, AQueueIsOneAsLongAsItHasRoom) {
    const Prompts prompts = promptsBefore("FifoFilter:max=3", kThreeAndOne);
    EXPECT_TRUE(prompts.empty);
    EXPECT_FALSE(prompts.full);
    EXPECT_TRUE(prompts.emptyAgain);
}

TEST(PromptElement, AQueueThatDropsIsAlwaysOne) {
    const Prompts prompts = promptsBefore("FifoFilter:max=3,leaky=true", kThreeAndOne);
    EXPECT_TRUE(prompts.empty);
    EXPECT_TRUE(prompts.full);
}

TEST(PromptElement, SyncIsOneAsLongAsItHasRoomForMany) {
    const Prompts prompts = promptsBefore("Sync", 300);
    EXPECT_TRUE(prompts.empty);
    EXPECT_FALSE(prompts.full);
    EXPECT_TRUE(prompts.emptyAgain);
}

TEST(PromptElement, AQueueThatOthersFillTooIsNone) {
    Described chain(
        "type=pipeline,layout={TestSource+FrameDroper:name=d+TestSource:name=b,link=null"
        "+FifoFilter:link={d,b}+TestSink}");
    ASSERT_TRUE(chain);
    EXPECT_FALSE(chain.child<Element>("d").isPrompt());
}

TEST(PromptElement, TheThreadThatCapturesSoundGivesItWhereNobodyWaits) {
    setenv("KEP_HOST_AUDIO", "test", 1);
    Described chain("type=pipeline,layout={MicSrc+TestSink:name=z}");
    ASSERT_TRUE(chain);
    ASSERT_TRUE(chain.play());
    TestSink& sink = chain.child<TestSink>("z");
    ASSERT_TRUE(sink.waitFor(10));
    EXPECT_EQ(sink.threadName(), "mic-element");
    sink.setPrompt(true);
    EXPECT_TRUE(waitUntil([&] { return sink.threadName() == "microphone"; }));
    sink.setPrompt(false);
    EXPECT_TRUE(waitUntil([&] { return sink.threadName() == "mic-element"; }));
}

TEST(PromptElement, AQueueThatIsFullKeepsNoOtherConsumerOfTheCameraWaiting) {
    setenv("KEP_HOST_VIDEO", "test", 1);
    Described stalled("type=pipeline,layout={PvYuvSrcAdv:w=64,h=36+FifoFilter:max=2+TestSink:name=z}");
    Described beside("type=pipeline,layout={PvYuvSrcAdv:w=64,h=36+FifoFilter+TestSink:name=z}");
    ASSERT_TRUE(stalled);
    ASSERT_TRUE(beside);
    ASSERT_TRUE(stalled.play());
    ASSERT_TRUE(beside.play());
    TestSink& full = stalled.child<TestSink>("z");
    TestSink& open = beside.child<TestSink>("z");
    ASSERT_TRUE(full.waitFor(10));
    full.setOpen(false);
    EXPECT_TRUE(open.waitFor(open.packets().size() + 40));
    full.setOpen(true);
}

}  // namespace
}  // namespace kep::host
