#include <chrono>
#include <climits>
#include <cstring>

#include "fixture.h"

namespace unit {
namespace {

using Output = Stream<OutputPart>;
using Input = Stream<InputPart>;
using Bytes = std::vector<unsigned char>;

const std::string pull = "IStreamOutput::PullFrame(no frame,true)";
const std::string canPull = "IStreamOutput::IsSupportedPullFrame()";

std::string released(int size) {
    return "release frame of " + std::to_string(size);
}

class ReadTest : public PluginTest {
  protected:
    ReadTest() : output(new Output), id(handleOf(output)), text(std::to_string(id)) {
        output->frames = {Bytes{'a', 'b', 'c'}, Bytes{'d'}, Bytes{'e', 'f'}, Bytes{'g'}};
        std::memset(buffer, '.', sizeof buffer);
    }

    std::string inBuffer() { return std::string(buffer, sizeof buffer); }

    Output* output;
    int id;
    std::string text;
    char buffer[8];
    int length = 17;
};

TEST_F(ReadTest, ConcatenatesFrames) {
    EXPECT_EQ(VNRead(id, buffer, sizeof buffer, 3, &length), VNRES_SUCCEED);
    EXPECT_EQ(length, 6);
    EXPECT_EQ(inBuffer(), "abcdef..");
    EXPECT_EQ(happened(), (Events{canPull, pull, released(3), pull, released(1), pull, released(2)}));
    EXPECT_EQ(output->frames.size(), 1u);
}

TEST_F(ReadTest, ContinuesWhereTheLastCallEnded) {
    EXPECT_EQ(VNRead(id, buffer, sizeof buffer, 1, &length), VNRES_SUCCEED);
    EXPECT_EQ(length, 3);
    EXPECT_EQ(VNRead(id, buffer, sizeof buffer, 1, &length), VNRES_SUCCEED);
    EXPECT_EQ(length, 1);
    EXPECT_EQ(inBuffer(), "dbc.....");
}

TEST_F(ReadTest, AcceptsANullLength) {
    EXPECT_EQ(VNRead(id, buffer, sizeof buffer, 2, nullptr), VNRES_SUCCEED);
    EXPECT_EQ(inBuffer(), "abcd....");
}

TEST_F(ReadTest, FillsABufferToItsLastByte) {
    EXPECT_EQ(VNRead(id, buffer, 6, 3, &length), VNRES_SUCCEED);
    EXPECT_EQ(length, 6);
    EXPECT_EQ(inBuffer(), "abcdef..");
}

TEST_F(ReadTest, RefusesTheFrameThatDoesNotFit) {
    EXPECT_EQ(VNRead(id, buffer, 5, 3, &length), VNRES_BUF_TOO_SMALL);
    EXPECT_EQ(length, 17);
    EXPECT_EQ(inBuffer(), "abcd....");
    EXPECT_EQ(happened(),
              (Events{canPull, pull, released(3), pull, released(1), pull,
                      error("VNRead", "buf_size<(len+frm->size)," + text + "buf size is not enough.5,4+2"),
                      released(2)}));
    EXPECT_EQ(output->frames.size(), 1u);
}

TEST_F(ReadTest, RefusesTheFirstFrameInANegativeBuffer) {
    EXPECT_EQ(VNRead(id, buffer, -1, 1, &length), VNRES_BUF_TOO_SMALL);
    EXPECT_EQ(inBuffer(), "........");
    EXPECT_EQ(happened(),
              (Events{canPull, pull,
                      error("VNRead", "buf_size<(len+frm->size)," + text + "buf size is not enough.-1,0+3"),
                      released(3)}));
}

TEST_F(ReadTest, AcceptsAnEmptyFrame) {
    output->frames = {Bytes{}, Bytes{'a'}};
    EXPECT_EQ(VNRead(id, buffer, 1, 2, &length), VNRES_SUCCEED);
    EXPECT_EQ(length, 1);
    EXPECT_EQ(inBuffer(), "a.......");
}

/** The frames of a faulty framework. */
class NegativeFrames : public Stream<OutputPart> {
  public:
    bool PullFrame(std::shared_ptr<common::frame_t>& frame, bool) override {
        frame = std::make_shared<common::frame_t>();
        frame->size = -4;
        return true;
    }
};

TEST_F(ReadTest, AFrameOfNegativeSizeIsNotCopied) {
    const int other = handleOf(new NegativeFrames);
    EXPECT_EQ(VNRead(other, buffer, sizeof buffer, 2, &length), VNRES_SUCCEED);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(inBuffer(), std::string(sizeof buffer, '.'));
}

/** Adding the size of its second frame to that of the first overflows an int. */
class LongestFrame : public Stream<OutputPart> {
  public:
    bool PullFrame(std::shared_ptr<common::frame_t>& frame, bool) override {
        frame = std::make_shared<common::frame_t>();
        frame->data = bytes;
        frame->size = next;
        next = INT_MAX;
        return true;
    }
    unsigned char bytes[4] = {'a', 'b', 'c', 'd'};
    int next = 4;
};

TEST_F(ReadTest, RefusesAFrameThatOverflowsTheTotalSize) {
    const int other = handleOf(new LongestFrame);
    EXPECT_EQ(VNRead(other, buffer, sizeof buffer, 2, &length), VNRES_BUF_TOO_SMALL);
    EXPECT_EQ(length, 17);
    EXPECT_EQ(inBuffer(), "abcd....");
    EXPECT_EQ(happened(),
              (Events{canPull, error("VNRead", "buf_size<(len+frm->size)," + std::to_string(other) +
                                                   "buf size is not enough.8,4+2147483647")}));
}

TEST_F(ReadTest, PullsNothingForACountOfZero) {
    EXPECT_EQ(VNRead(id, nullptr, 8, 0, &length), VNRES_SUCCEED);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(happened(), Events{canPull});
}

TEST_F(ReadTest, ANegativeCountReadsUntilAPullFails) {
    EXPECT_EQ(VNRead(id, buffer, sizeof buffer, -1, &length), VNRES_FAIL);
    EXPECT_EQ(length, 17);
    EXPECT_EQ(inBuffer(), "abcdefg.");
    EXPECT_EQ(happened(),
              (Events{canPull, pull, released(3), pull, released(1), pull, released(2), pull, released(1),
                      pull, error("VNRead", "!output->PullFrame(frm)," + text + ":pull frame fail!")}));
}

TEST_F(ReadTest, TheLowestCountReadsUntilTheBufferIsFull) {
    EXPECT_EQ(VNRead(id, buffer, 6, INT_MIN, &length), VNRES_BUF_TOO_SMALL);
    EXPECT_EQ(length, 17);
    EXPECT_EQ(inBuffer(), "abcdef..");
}

TEST_F(ReadTest, FailsWhenAPullIsRefused) {
    script.refuse("IStreamOutput::PullFrame");
    EXPECT_EQ(VNRead(id, buffer, sizeof buffer, 1, &length), VNRES_FAIL);
    EXPECT_EQ(length, 17);
    EXPECT_EQ(happened(), (Events{canPull, pull,
                                  error("VNRead", "!output->PullFrame(frm)," + text + ":pull frame fail!")}));
}

TEST_F(ReadTest, APullWithoutAFrameHasFailed) {
    output->givesNoFrame = true;
    EXPECT_EQ(VNRead(id, buffer, sizeof buffer, 1, &length), VNRES_FAIL);
    EXPECT_EQ(happened(), (Events{canPull, pull,
                                  error("VNRead", "!output->PullFrame(frm)," + text + ":pull frame fail!")}));
}

TEST_F(ReadTest, IsUnsupportedWhereFramesCannotBePulled) {
    script.refuse("IStreamOutput::IsSupportedPullFrame");
    EXPECT_EQ(VNRead(id, buffer, sizeof buffer, 1, &length), VNRES_UNSUPPORTED);
    EXPECT_EQ(length, 17);
    EXPECT_EQ(happened(), (Events{canPull, error("VNRead", "!output->IsSupportedPullFrame()," + text +
                                                               ":this dev is not supported pull frame!")}));
}

TEST_F(ReadTest, RefusesAnObjectWithoutFrameOutput) {
    const int other = handleOf(new Stream<ControlPart, InputPart>);
    // The second call may use what the first has cached.
    for (int call = 0; call < 2; ++call) {
        EXPECT_EQ(VNRead(other, buffer, sizeof buffer, 1, &length), VNRES_WRONG_DEVICE);
        EXPECT_EQ(length, 17);
        EXPECT_EQ(happened(), Events{error("VNRead", "!output," + std::to_string(other) +
                                                         ":this dev can not output frame!")});
    }
}

TEST_F(ReadTest, RefusesHandleZero) {
    EXPECT_EQ(VNRead(0, buffer, sizeof buffer, 1, &length), VNRES_INVALID_ARG);
    EXPECT_EQ(length, 17);
    EXPECT_EQ(happened(), Events{error("VNRead", "!id")});
}

class FeedTest : public PluginTest {
  protected:
    FeedTest() : input(new Input), id(handleOf(input)), text(std::to_string(id)) {
        input->state = kep::State::play;
    }

    Input* input;
    int id;
    std::string text;
    char buffer[5] = {'a', 'b', 'c', 'd', 'e'};
};

const char state[] = "IState::CurrentState()";
const char canPush[] = "IStreamInput::IsSupportedPushFrame()";

TEST_F(FeedTest, PushesTheBufferAsOneFrame) {
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(VNFeed(id, buffer, sizeof buffer), VNRES_SUCCEED);
    const auto after = std::chrono::steady_clock::now();
    EXPECT_EQ(happened(), (Events{state, canPush, "IStreamInput::PushFrame(5)"}));
    ASSERT_TRUE(input->pushed);
    EXPECT_EQ(static_cast<void*>(input->pushed->data), static_cast<void*>(buffer));
    EXPECT_EQ(input->pushed->size, 5);
    EXPECT_EQ(input->pushed->index, 0);
    EXPECT_TRUE(input->pushed->key);
    EXPECT_FALSE(input->pushed->release);
    EXPECT_GE(input->stampWhenPushed, before);
    EXPECT_LE(input->stampWhenPushed, after);
    EXPECT_EQ(input->pushed.use_count(), 1);
    EXPECT_EQ(std::string(buffer, sizeof buffer), "abcde");
}

TEST_F(FeedTest, ForwardsAnySize) {
    EXPECT_EQ(VNFeed(id, buffer, 0), VNRES_SUCCEED);
    EXPECT_EQ(VNFeed(id, buffer, -1), VNRES_SUCCEED);
    EXPECT_EQ(happened(), (Events{state, canPush, "IStreamInput::PushFrame(0)", state, canPush,
                                  "IStreamInput::PushFrame(-1)"}));
}

TEST_F(FeedTest, FailsWhenThePushIsRefused) {
    script.refuse("IStreamInput::PushFrame");
    EXPECT_EQ(VNFeed(id, buffer, sizeof buffer), VNRES_PUSH_FAIL);
    EXPECT_EQ(happened(), (Events{state, canPush, "IStreamInput::PushFrame(5)",
                                  error("VNFeed", "!input->PushFrame(frm)," + text + ":push frame fail!")}));
}

TEST_F(FeedTest, IsUnsupportedWhereFramesCannotBePushed) {
    script.refuse("IStreamInput::IsSupportedPushFrame");
    EXPECT_EQ(VNFeed(id, buffer, sizeof buffer), VNRES_UNSUPPORTED);
    EXPECT_EQ(happened(), (Events{state, canPush,
                                  error("VNFeed", "!input->IsSupportedPushFrame()," + text +
                                                      ":this dev is not supported push frame!")}));
}

class IdleFeedTest : public FeedTest, public ::testing::WithParamInterface<kep::State> {};

TEST_P(IdleFeedTest, FailsWhenTheStreamDoesNotPlay) {
    input->state = GetParam();
    EXPECT_EQ(VNFeed(id, buffer, sizeof buffer), VNRES_FAIL);
    EXPECT_EQ(happened(), (Events{state, error("VNFeed", "input->CurrentState()!=State::play," + text +
                                                             ":the status of this dev isn't start!")}));
}

INSTANTIATE_TEST_SUITE_P(States, IdleFeedTest, ::testing::Values(kep::State::null, kep::State::ready),
                         [](const auto& test) {
                             return test.param == kep::State::null ? std::string("Null")
                                                                   : std::string("Ready");
                         });

TEST_F(FeedTest, RefusesAnObjectWithoutFrameInput) {
    const int other = handleOf(new Stream<ControlPart, OutputPart>);
    EXPECT_EQ(VNFeed(other, buffer, sizeof buffer), VNRES_WRONG_DEVICE);
    EXPECT_EQ(happened(),
              Events{error("VNFeed", "!input," + std::to_string(other) + ":this dev can not input frame!")});
}

TEST_F(FeedTest, RefusesHandleZero) {
    EXPECT_EQ(VNFeed(0, buffer, sizeof buffer), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), Events{error("VNFeed", "!id")});
}

TEST_F(FeedTest, ChecksTheBufferBeforeTheHandle) {
    EXPECT_EQ(VNFeed(0, nullptr, 1), VNRES_INVALID_ARG);
    EXPECT_EQ(VNFeed(id, nullptr, 1), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), (Events{error("VNFeed", "!buf"), error("VNFeed", "!buf")}));
}

}  // namespace
}  // namespace unit
