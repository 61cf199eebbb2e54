#include "fixture.h"
#include "photography.h"

namespace unit {
namespace {

std::string refusal(const std::string& function, const std::string& text) {
    return line(8, red, "api/vornisa_snap.cpp", function, text);
}

const char up[] = "IStreamControl::ChangeUp(play)";
const char down[] = "IStreamControl::ChangeDown(null)";
const char create[] = "IPhotography::CreateNew(vornisa)";
const char gone[] = "delete stream";

class TakePicTest : public PluginTest {
  protected:
    TakePicTest() { script.offer(new Photography); }
    ~TakePicTest() override { delete script.takeOffer(); }

    const Events configured = {create,
                               "IPhotography::SetSourceIndex(0)",
                               "IPhotography::SetWidth(640)",
                               "IPhotography::SetHeight(-360)",
                               "IPhotography::SetQuality(80)",
                               "IPhotography::SetUrl(file:///tmp/a.jpg)"};

    /** Takes a picture and expects, after the configuration, these events. */
    void expect(int code, const Events& rest) {
        EXPECT_EQ(VNTakePic("/tmp/a.jpg", 640, -360), code);
        Events all = configured;
        all.insert(all.end(), rest.begin(), rest.end());
        EXPECT_EQ(happened(), all);
    }
};

TEST_F(TakePicTest, TakesAPictureAndDestroysThePictureTaker) {
    expect(VNRES_SUCCEED, {up, "IPhotography::Snap(true)", down, gone});
}

// Deliberate: the spelling of the message.
TEST_F(TakePicTest, LogsAMissingPictureTakerWithADoubledR) {
    script.refuse("IPhotography::CreateNew");
    EXPECT_EQ(VNTakePic("/tmp/a.jpg", 640, 360), VNRES_WRONG_DEVICE);
    EXPECT_EQ(happened(), (Events{create, refusal("VNTakePic", "!snapunsupported PIV for vorrnisa.")}));
}

TEST_F(TakePicTest, FailsWhenThePictureTakerDoesNotStart) {
    script.refuse("IStreamControl::ChangeUp");
    expect(VNRES_FAIL, {up, refusal("VNTakePic", "!snap->ChangeUp(State::play)"), gone});
}

// Deliberate, as in the next test: after a failure the picture taker is deleted without being stopped.
TEST_F(TakePicTest, FailsWhenThePictureIsNotTaken) {
    script.refuse("IPhotography::Snap");
    expect(VNRES_FAIL, {up, "IPhotography::Snap(true)",
                        refusal("VNTakePic", "!snap->Snap(true)snap one frame fail!"), gone});
}

TEST_F(TakePicTest, FailsWhenThePictureTakerDoesNotStop) {
    script.refuse("IStreamControl::ChangeDown");
    expect(VNRES_FAIL, {up, "IPhotography::Snap(true)", down,
                        refusal("VNTakePic", "!snap->ChangeDown(State::null)"), gone});
}

TEST_F(TakePicTest, TreatsANullNameAsEmpty) {
    EXPECT_EQ(VNTakePic(nullptr, 640, 360), VNRES_SUCCEED);
    EXPECT_EQ(happened()[5], "IPhotography::SetUrl(file://)");
}

TEST_F(TakePicTest, AcceptsANameOfAnyLength) {
    const std::string name(100000, 'n');
    EXPECT_EQ(VNTakePic(name.c_str(), 640, 360), VNRES_SUCCEED);
    EXPECT_EQ(happened()[5], "IPhotography::SetUrl(file://" + name + ")");
}

TEST_F(TakePicTest, CatchesExceptions) {
    script.throwAt("IPhotography::Snap");
    expect(VNRES_FAIL,
           {up, "IPhotography::Snap(true)", gone, refusal("VNTakePic", "exception:std::bad_alloc")});
}

class TakePic2Test : public PluginTest {
  protected:
    /** Creates a picture taker in that state, with the handle `id`. */
    void createTaker(kep::State state) {
        taker = new Photography;
        taker->state = state;
        id = handleOf(taker);
    }

    Photography* taker = nullptr;
    int id = 0;
};

const char state[] = "IState::CurrentState()";
const char snap[] = "IPhotography::Snap(file:///tmp/a.jpg,true)";

TEST_F(TakePic2Test, StartsAStoppedPictureTakerAndLeavesItPlaying) {
    createTaker(kep::State::null);
    EXPECT_EQ(VNTakePic2(id, "/tmp/a.jpg"), VNRES_SUCCEED);
    EXPECT_EQ(happened(), (Events{state, up, snap}));
    EXPECT_EQ(taker->state, kep::State::play);
}

TEST_F(TakePic2Test, StartsOneThatIsReady) {
    createTaker(kep::State::ready);
    EXPECT_EQ(VNTakePic2(id, "/tmp/a.jpg"), VNRES_SUCCEED);
    EXPECT_EQ(happened(), (Events{state, up, snap}));
}

TEST_F(TakePic2Test, UsesAPlayingOneAsItIs) {
    createTaker(kep::State::play);
    EXPECT_EQ(VNTakePic2(id, "/tmp/a.jpg"), VNRES_SUCCEED);
    EXPECT_EQ(happened(), (Events{state, snap}));
}

TEST_F(TakePic2Test, ChecksTheNameBeforeTheHandle) {
    EXPECT_EQ(VNTakePic2(0, nullptr), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), (Events{refusal("VNTakePic2", "!fname")}));
}

TEST_F(TakePic2Test, RefusesHandleZero) {
    EXPECT_EQ(VNTakePic2(0, "/tmp/a.jpg"), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), (Events{refusal("VNTakePic2", "!id")}));
}

// Deliberate: elsewhere a handle of the wrong kind has another code.
TEST_F(TakePic2Test, AHandleOfTheWrongKindIsAnInvalidArgument) {
    const int video = handleOf(new Stream<ControlPart, VideoPart>);
    EXPECT_EQ(VNTakePic2(video, "/tmp/a.jpg"), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), (Events{refusal("VNTakePic2", "!snap")}));
}

TEST_F(TakePic2Test, FailsWhenThePictureTakerDoesNotStart) {
    createTaker(kep::State::null);
    script.refuse("IStreamControl::ChangeUp");
    EXPECT_EQ(VNTakePic2(id, "/tmp/a.jpg"), VNRES_FAIL);
    EXPECT_EQ(happened(), (Events{state, up, refusal("VNTakePic2", "!snap->ChangeUp(State::play)")}));
}

TEST_F(TakePic2Test, FailsWhenThePictureIsNotTakenAndLeavesThePictureTakerPlaying) {
    createTaker(kep::State::null);
    script.refuse("IPhotography::Snap");
    EXPECT_EQ(VNTakePic2(id, "/tmp/a.jpg"), VNRES_FAIL);
    EXPECT_EQ(happened(),
              (Events{state, up, snap,
                      refusal("VNTakePic2", "!snap->Snap(url.c_str(),true)snap one frame fail!")}));
}

TEST_F(TakePic2Test, AcceptsANameOfAnyLength) {
    createTaker(kep::State::play);
    const std::string name(100000, 'n');
    EXPECT_EQ(VNTakePic2(id, name.c_str()), VNRES_SUCCEED);
    EXPECT_EQ(happened(), (Events{state, "IPhotography::Snap(file://" + name + ",true)"}));
}

TEST_F(TakePic2Test, CatchesExceptions) {
    createTaker(kep::State::play);
    script.throwAt("IPhotography::Snap");
    EXPECT_EQ(VNTakePic2(id, "/tmp/a.jpg"), VNRES_FAIL);
    EXPECT_EQ(happened(), (Events{state, snap, refusal("VNTakePic2", "exception:std::bad_alloc")}));
}

}  // namespace
}  // namespace unit
