/** Settings of streams, frames in and out, pictures. */
#include "fixture.h"

namespace twin {
namespace {

using StreamTest = TwinTest;

const std::string source = "vornisa_control";

std::string trace(const std::string& function, const std::string& text) {
    return line(28, source, function, text);
}

std::string refusal(const std::string& function, const std::string& text) {
    return error(source, function, text);
}

TEST_F(StreamTest, SettingsReachTheirInterfaces) {
    const int video = acquire(66);
    const std::string v = std::to_string(video);
    EXPECT_EQ(VN(VNSetBps)(video, 2000000), 0);
    EXPECT_EQ(VN(VNSetFramerate)(video, 25), 0);
    EXPECT_EQ(VN(VNSetResolution)(video, 1280, 720), 0);
    EXPECT_EQ(VN(VNGetKeyFrame)(video), 0);
    EXPECT_EQ(VN(VNSetH264Gop)(video, -50), 0);
    EXPECT_EQ(
        happened(),
        (Events{trace("VNSetBps", v + ",2000000"), "bitRate(2000000)", trace("VNSetFramerate", v + ",25"),
                "frameRate(25)", trace("VNSetResolution", v + ",1280,720"),
                trace("VNSetResolution",
                      shown(reinterpret_cast<void*>(std::uintptr_t(unsigned(video)))) + ",1280,720"),
                "width(1280)", "height(720)", trace("VNGetKeyFrame", v), "keyFrame()",
                trace("VNSetH264Gop", "gop=-50"), "group(-50)"}));

    const int sound = acquire(68);
    EXPECT_EQ(VN(VNSetAudio)(sound, 16000, 2), 0);
    EXPECT_EQ(happened(),
              (Events{trace("VNSetAudio", std::to_string(sound) + ",16000,2"), "first(16000)", "second(2)"}));

    const int object = acquire(74);
    EXPECT_EQ(VN(VNSetParams)(object, "trigger={pre=1s}"), 0);
    refuse("fromString");
    EXPECT_EQ(VN(VNSetParams)(object, "odd"), 0);
    EXPECT_EQ(happened(), (Events{"fromString(trigger={pre=1s})", "fromString(odd)"}));
}

TEST_F(StreamTest, RefusesSettingsForAnotherKindOfObject) {
    const int sound = acquire(67);
    const std::string s = std::to_string(sound);
    const std::string pointer = shown(reinterpret_cast<void*>(std::uintptr_t(unsigned(sound))));
    EXPECT_EQ(VN(VNSetBps)(sound, 1), -2);
    EXPECT_EQ(VN(VNSetFramerate)(sound, 1), -2);
    EXPECT_EQ(VN(VNSetResolution)(sound, 1, 2), -2);
    EXPECT_EQ(VN(VNGetKeyFrame)(sound), -2);
    EXPECT_EQ(VN(VNSetH264Gop)(sound, 1), -2);
    EXPECT_EQ(VN(VNSetParams)(sound, "a=b"), -2);
    EXPECT_EQ(
        happened(),
        (Events{trace("VNSetBps", s + ",1"), refusal("VNSetBps", "!enc,this id is not an Encoder!"),
                trace("VNSetFramerate", s + ",1"),
                refusal("VNSetFramerate", "!vbrc,this id is not a Video Device!"),
                trace("VNSetResolution", s + ",1,2"), trace("VNSetResolution", pointer + ",1,2"),
                refusal("VNSetResolution", "!video,this id is not a Video Device!" + pointer),
                trace("VNGetKeyFrame", s), refusal("VNGetKeyFrame", "!enc,this id is not an Encoder!"),
                trace("VNSetH264Gop", "gop=1"), refusal("VNSetH264Gop", "!enc,this id is not an Encoder!"),
                refusal("VNSetParams", "!obj0,this id is not an object!")}));

    const int video = acquire(66);
    const int object = acquire(77);
    EXPECT_EQ(VN(VNSetAudio)(video, 1, 2), -2);
    EXPECT_EQ(VN(VNSetAudio)(object, 1, 2), -7);
    EXPECT_EQ(happened(),
              (Events{trace("VNSetAudio", std::to_string(video) + ",1,2"),
                      refusal("VNSetAudio", "!audio,this id is not an Audio Device!"),
                      trace("VNSetAudio", std::to_string(object) + ",1,2"), refusal("VNSetAudio", "!ctl")}));
}

TEST_F(StreamTest, RefusesSettingsWithoutAHandle) {
    EXPECT_EQ(VN(VNSetAudio)(0, 1, 2), -7);
    EXPECT_EQ(VN(VNSetBps)(0, 1), -7);
    EXPECT_EQ(VN(VNSetFramerate)(0, 1), -7);
    EXPECT_EQ(VN(VNSetResolution)(0, 1, 2), -7);
    EXPECT_EQ(VN(VNGetKeyFrame)(0), -7);
    EXPECT_EQ(VN(VNSetH264Gop)(0, 1), -7);
    EXPECT_EQ(VN(VNSetParams)(0, "a=b"), -7);
    EXPECT_EQ(
        happened(),
        (Events{trace("VNSetAudio", "0,1,2"), refusal("VNSetAudio", "!id"), trace("VNSetBps", "0,1"),
                refusal("VNSetBps", "!id"), trace("VNSetFramerate", "0,1"), refusal("VNSetFramerate", "!id"),
                trace("VNSetResolution", "0,1,2"), refusal("VNSetResolution", "!id"),
                trace("VNGetKeyFrame", "0"), refusal("VNGetKeyFrame", "!id"), trace("VNSetH264Gop", "gop=1"),
                refusal("VNSetH264Gop", "!id"), refusal("VNSetParams", "!id")}));
}

TEST_F(StreamTest, PullsFramesOneAfterTheOther) {
    const int id = acquire(66);
    state().frames = {"first", "2nd", "third"};
    char buffer[13] = {};
    int length = 0;
    EXPECT_EQ(VN(VNRead)(id, buffer, sizeof buffer, 3, &length), 0);
    EXPECT_EQ(std::string(buffer, sizeof buffer), "first2ndthird");
    EXPECT_EQ(length, 13);
    EXPECT_EQ(happened(), (Events{"IsSupportedPullFrame()", "PullFrame(no frame,true)", "frame released",
                                  "PullFrame(no frame,true)", "frame released", "PullFrame(no frame,true)",
                                  "frame released"}));
}

TEST_F(StreamTest, LogsFailedReads) {
    const int id = acquire(66);
    const std::string shownId = std::to_string(id);
    char buffer[8];
    int length = 99;
    state().frames = {"first", "2nd!"};
    EXPECT_EQ(VN(VNRead)(id, buffer, sizeof buffer, 2, &length), -5);
    EXPECT_EQ(VN(VNRead)(id, buffer, sizeof buffer, 1, &length), -1);
    refuse("IsSupportedPullFrame");
    EXPECT_EQ(VN(VNRead)(id, buffer, sizeof buffer, 1, &length), -3);
    EXPECT_EQ(VN(VNRead)(0, buffer, sizeof buffer, 1, &length), -7);
    EXPECT_EQ(length, 99);
    const Events all = happened();
    EXPECT_EQ(
        all,
        (Events{"IsSupportedPullFrame()", "PullFrame(no frame,true)", "frame released",
                "PullFrame(no frame,true)",
                refusal("VNRead", "buf_size<(len+frm->size)," + shownId + "buf size is not enough.8,5+4"),
                "frame released", "IsSupportedPullFrame()", "PullFrame(no frame,true)",
                refusal("VNRead", "!output->PullFrame(frm)," + shownId + ":pull frame fail!"),
                "IsSupportedPullFrame()",
                refusal("VNRead", "!output->IsSupportedPullFrame()," + shownId +
                                      ":this dev is not supported pull frame!"),
                refusal("VNRead", "!id")}));
    const int sink = acquire(69);
    EXPECT_EQ(VN(VNRead)(sink, buffer, sizeof buffer, 1, &length), -2);
    EXPECT_EQ(
        happened(),
        (Events{refusal("VNRead", "!output," + std::to_string(sink) + ":this dev can not output frame!")}));
}

TEST_F(StreamTest, PushesAFrameWithoutACopy) {
    const int id = acquire(69);
    EXPECT_EQ(VN(VNStart)(id), 0);
    events();
    char sound[] = "sound";
    const auto before = std::chrono::steady_clock::now().time_since_epoch();
    EXPECT_EQ(VN(VNFeed)(id, sound, 5), 0);
    const auto after = std::chrono::steady_clock::now().time_since_epoch();
    EXPECT_EQ(happened(), (Events{"CurrentState()", "IsSupportedPushFrame()", "PushFrame(5)"}));
    ASSERT_NE(state().pushed, nullptr);
    EXPECT_EQ(state().pushed->leading, 0);
    EXPECT_EQ(static_cast<void*>(state().pushed->data), static_cast<void*>(sound));
    EXPECT_EQ(state().pushed->size, 5);
    EXPECT_EQ(state().pushed->flag, 1);
    EXPECT_GE(state().pushed->stamp, std::chrono::nanoseconds(before).count());
    EXPECT_LE(state().pushed->stamp, std::chrono::nanoseconds(after).count());
    EXPECT_FALSE(state().pushed->release);
}

TEST_F(StreamTest, LogsFailedFeeds) {
    char sound[] = "sound";
    EXPECT_EQ(VN(VNFeed)(0, nullptr, 5), -7);
    EXPECT_EQ(VN(VNFeed)(0, sound, 5), -7);
    EXPECT_EQ(happened(), (Events{refusal("VNFeed", "!buf"), refusal("VNFeed", "!id")}));
    const int video = acquire(66);
    EXPECT_EQ(VN(VNFeed)(video, sound, 5), -2);
    EXPECT_EQ(
        happened(),
        (Events{refusal("VNFeed", "!input," + std::to_string(video) + ":this dev can not input frame!")}));

    const int id = acquire(69);
    const std::string shownId = std::to_string(id);
    EXPECT_EQ(VN(VNFeed)(id, sound, 5), -1);
    state().stream = kep::State::play;
    refuse("PushFrame");
    EXPECT_EQ(VN(VNFeed)(id, sound, 5), -6);
    refuse("IsSupportedPushFrame");
    EXPECT_EQ(VN(VNFeed)(id, sound, 5), -3);
    EXPECT_EQ(happened(),
              (Events{"CurrentState()",
                      refusal("VNFeed", "input->CurrentState()!=State::play," + shownId +
                                            ":the status of this dev isn't start!"),
                      "CurrentState()", "IsSupportedPushFrame()", "PushFrame(5)",
                      refusal("VNFeed", "!input->PushFrame(frm)," + shownId + ":push frame fail!"),
                      "CurrentState()", "IsSupportedPushFrame()",
                      refusal("VNFeed", "!input->IsSupportedPushFrame()," + shownId +
                                            ":this dev is not supported push frame!")}));
}

/** `all` with the milliseconds in lines of the timing stream replaced by N. */
Events withoutTimes(Events all) {
    for (std::string& event : all)
        if (event.rfind("12 ", 0) == 0) {
            const std::size_t begin = event.rfind(": ") + 2;
            const std::size_t end = event.find("ms", begin);
            EXPECT_GT(end, begin);
            event.replace(begin, end - begin, "N");
        }
    return all;
}

TEST_F(StreamTest, SwitchStopsResizesAndStarts) {
    const int id = acquire(66);
    const std::string shownId = std::to_string(id);
    const std::string pointer = shown(reinterpret_cast<void*>(std::uintptr_t(unsigned(id))));
    EXPECT_EQ(VN(VNSwitchResolution)(id, 640, 360), 0);
    const std::string began = line(12, source, "VNSwitchResolution", "Nms640,360");
    EXPECT_EQ(withoutTimes(happened()), (Events{began, trace("VNStop", shownId), "ChangeDown(1)",
                                                trace("VNSetResolution", shownId + ",640,360"),
                                                trace("VNSetResolution", pointer + ",640,360"), "width(640)",
                                                "height(360)", trace("VNStart", shownId), "ChangeUp(4)",
                                                line(12, source, "VNSwitchResolution", "Nms")}));

    refuse("ChangeDown");
    EXPECT_EQ(VN(VNSwitchResolution)(id, 640, 360), -7);
    EXPECT_EQ(VN(VNSwitchResolution)(0, 640, 360), -7);
    EXPECT_EQ(withoutTimes(happened()), (Events{began, trace("VNStop", shownId), "ChangeDown(1)",
                                                refusal("VNStop", "!ctl->ChangeDown(State::null)"),
                                                refusal("VNSwitchResolution", "VNRES_SUCCEED!=VNStop(id)"),
                                                began, refusal("VNSwitchResolution", "!id")}));
}

using PictureTest = TwinTest;

TEST_F(PictureTest, TakesAPictureWithATemporaryObject) {
    EXPECT_EQ(VN(VNTakePic)("/tmp/a.jpg", 640, 360), 0);
    EXPECT_EQ(happened(),
              (Events{"IPhotography(vornisa)", "source(0)", "width(640)", "height(360)", "quality(80)",
                      "url(file:///tmp/a.jpg)", "ChangeUp(4)", "Snap(true)", "ChangeDown(1)", "~stream"}));
    const std::string snap = "vornisa_snap";
    refuse("ChangeDown");
    EXPECT_EQ(VN(VNTakePic)("/tmp/a.jpg", 640, 360), -1);
    EXPECT_EQ(happened()[9], error(snap, "VNTakePic", "!snap->ChangeDown(State::null)"));
    refuse("Snap");
    EXPECT_EQ(VN(VNTakePic)("/tmp/a.jpg", 640, 360), -1);
    EXPECT_EQ(happened()[8], error(snap, "VNTakePic", "!snap->Snap(true)snap one frame fail!"));
    refuse("ChangeUp");
    EXPECT_EQ(VN(VNTakePic)("/tmp/a.jpg", 640, 360), -1);
    EXPECT_EQ(happened()[7], error(snap, "VNTakePic", "!snap->ChangeUp(State::play)"));
    refuse("IPhotography");
    EXPECT_EQ(VN(VNTakePic)("/tmp/a.jpg", 640, 360), -2);
    EXPECT_EQ(happened(), (Events{"IPhotography(vornisa)",
                                  error(snap, "VNTakePic", "!snapunsupported PIV for vorrnisa.")}));
    EXPECT_EQ(liveObjects(), 0);
}

TEST_F(PictureTest, TakesAPictureWithTheCallersObject) {
    const std::string snap = "vornisa_snap";
    const int id = acquire(73);
    EXPECT_EQ(VN(VNTakePic2)(id, "/tmp/b.jpg"), 0);
    EXPECT_EQ(VN(VNTakePic2)(id, "/tmp/c.jpg"), 0);
    EXPECT_EQ(happened(), (Events{"CurrentState()", "ChangeUp(4)", "Snap(file:///tmp/b.jpg,true)",
                                  "CurrentState()", "Snap(file:///tmp/c.jpg,true)"}));
    refuse("Snap");
    EXPECT_EQ(VN(VNTakePic2)(id, "/tmp/b.jpg"), -1);
    state().stream = kep::State::null;
    refuse("ChangeUp");
    EXPECT_EQ(VN(VNTakePic2)(id, "/tmp/b.jpg"), -1);
    EXPECT_EQ(VN(VNTakePic2)(id, nullptr), -7);
    EXPECT_EQ(VN(VNTakePic2)(0, "/tmp/b.jpg"), -7);
    EXPECT_EQ(
        happened(),
        (Events{"CurrentState()", "Snap(file:///tmp/b.jpg,true)",
                error(snap, "VNTakePic2", "!snap->Snap(url.c_str(),true)snap one frame fail!"),
                "CurrentState()", "ChangeUp(4)", error(snap, "VNTakePic2", "!snap->ChangeUp(State::play)"),
                error(snap, "VNTakePic2", "!fname"), error(snap, "VNTakePic2", "!id")}));
    EXPECT_EQ(VN(VNTakePic2)(acquire(66), "/tmp/b.jpg"), -7);
    EXPECT_EQ(happened(), (Events{error(snap, "VNTakePic2", "!snap")}));
}

}  // namespace
}  // namespace twin
