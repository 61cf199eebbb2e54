/** Zones, stamps and the commands to the image pipeline. */
#include <cstring>

#include "fixture.h"

namespace twin {
namespace {

using PictureControlTest = TwinTest;

const std::string zones = "vornisa_zones";
const std::string stamp = "vornisa_stamp";

/** A number of the zone table in the current slot. */
std::int32_t numberAt(int offset) {
    std::int32_t number = 0;
    std::memcpy(&number, &state().segment[static_cast<std::size_t>(396 * state().slot + offset)],
                sizeof number);
    return number;
}

char byteAt(int offset) {
    return state().segment[static_cast<std::size_t>(396 * state().slot + offset)];
}

TEST_F(PictureControlTest, WritesAZoneAtItsOffset) {
    state().slot = 1;
    const std::vector<char> untouched = state().segment;
    EXPECT_EQ(VN(VNZonesSet)(15, -1, 2, 3, 4, 0x00ff0000), 0);
    const auto told = [](const std::string& text) { return line(12, zones, "VNZonesSet", text); };
    EXPECT_EQ(happened(), (Events{"ISharedMemory(396)", "ShmName(vornisa_shm_rects)", told("idx=15"),
                                  told("rects->rects[idx].x=-1"), told("rects->rects[idx].y=2"),
                                  told("rects->rects[idx].w=3"), told("rects->rects[idx].h=4"),
                                  told("(Hex)rects->rects[idx].color=0x00FF4C54"), "~ISharedMemory"}));
    EXPECT_EQ(numberAt(364), -1);
    EXPECT_EQ(numberAt(368), 2);
    EXPECT_EQ(numberAt(372), 3);
    EXPECT_EQ(numberAt(376), 4);
    EXPECT_EQ(numberAt(380), 0x00ff4c54);

    EXPECT_EQ(VN(VNZonesEnable)(15, 5), 0);
    const auto enabled = [](const std::string& text) { return line(12, zones, "VNZonesEnable", text); };
    EXPECT_EQ(happened(), (Events{"ISharedMemory(396)", "ShmName(vornisa_shm_rects)", enabled("idx=15"),
                                  enabled("rects->rects[idx].draw=true"), enabled("rects->valid=true"),
                                  "~ISharedMemory"}));
    EXPECT_EQ(byteAt(360), 1);
    EXPECT_EQ(numberAt(384), 1920);
    EXPECT_EQ(numberAt(388), 1080);
    EXPECT_EQ(byteAt(392), 1);
    // Nothing else has changed.
    std::vector<char> expected = untouched;
    for (const auto& [begin, size] : {std::pair(360, 1), {364, 20}, {384, 9}})
        for (int i = 0; i < size; ++i) {
            const auto place = static_cast<std::size_t>(396 + begin + i);
            expected[place] = state().segment[place];
        }
    EXPECT_EQ(state().segment, expected);
}

TEST_F(PictureControlTest, CellsBecomePixels) {
    EXPECT_EQ(VN(VNZonesSet2)(0, 0x0a000500, 0), 0);
    EXPECT_EQ(numberAt(4), 1209);
    EXPECT_EQ(numberAt(8), 0);
    EXPECT_EQ(numberAt(12), 120);
    EXPECT_EQ(numberAt(16), 68);
    EXPECT_EQ(numberAt(20), 0x00800080);
}

TEST_F(PictureControlTest, LogsAMissingZoneTable) {
    state().attaches = false;
    EXPECT_EQ(VN(VNZonesSet)(0, 1, 2, 3, 4, 0), -1);
    EXPECT_EQ(happened(), (Events{"ISharedMemory(396)", "ShmName(vornisa_shm_rects)",
                                  error(zones, "VNZonesSet", "!rects"), "~ISharedMemory"}));
    refuse("ShmName");
    EXPECT_EQ(VN(VNZonesEnable)(0, 1), -1);
    EXPECT_EQ(VN(VNZonesSet2)(0, 1, 0), -1);
    const std::string text = "!shm.ShmName(\"vornisa_shm_rects\")";
    EXPECT_EQ(happened(),
              (Events{"ISharedMemory(396)", "ShmName(vornisa_shm_rects)", error(zones, "VNZonesEnable", text),
                      "~ISharedMemory", "ISharedMemory(396)", "ShmName(vornisa_shm_rects)",
                      error(zones, "VNZonesSet", text), "~ISharedMemory"}));
}

TEST_F(PictureControlTest, SetsAStampByProperties) {
    const int id = acquire(76);
    EXPECT_EQ(VN(VNStampInit0)(id, 16, 32, "/font"), 0);
    EXPECT_EQ(VN(VNStampSet0)(id, 10, 20, 0xff123456, "%F"), 0);
    EXPECT_EQ(VN(VNStampSet11)(id, 0, 0, 0xff123456, nullptr), 0);
    EXPECT_EQ(VN(VNStampBgColorSet1)(id, 0x80000007), 0);
    EXPECT_EQ(VN(VNStampEnable0)(id, 7), 0);
    EXPECT_EQ(happened(), (Events{"Set init0({refw=1920,refh=1080,w=16,h=32,font=/font})",
                                  "Set change0({pattern=%F,refw=1920,refh=1080,x=10,y=20,color=1193046})",
                                  "Set change0({refw=1920,refh=1080,color=4279383126})",
                                  "Set bgcolor({bgcolor=7,alpha=128})", "Set draw0({draw=true})"}));
}

TEST_F(PictureControlTest, LogsARefusedStamp) {
    const int id = acquire(76);
    for (const char* const property : {"Set init0", "Set change0", "Set bgcolor", "Set draw0"})
        refuse(property);
    EXPECT_EQ(VN(VNStampInit0)(id, 1, 2, "f"), -1);
    EXPECT_EQ(VN(VNStampSet0)(id, 1, 0, 2, nullptr), -1);
    EXPECT_EQ(VN(VNStampSet11)(id, 1, 0, 2, nullptr), -1);
    EXPECT_EQ(VN(VNStampBgColorSet1)(id, 1), -1);
    EXPECT_EQ(VN(VNStampEnable0)(id, 0), -1);
    const std::string change = "!obj->Set(\"change0\",ap),refw=1920,refh=1080,x=1,color=2";
    EXPECT_EQ(
        happened(),
        (Events{"Set init0({refw=1920,refh=1080,w=1,h=2,font=f})",
                error(stamp, "VNStampInit0", "!obj->Set(\"init0\",ap),refw=1920,refh=1080,w=1,h=2,font=f"),
                "Set change0({refw=1920,refh=1080,x=1,color=2})", error(stamp, "VNStampSet0", change),
                "Set change0({refw=1920,refh=1080,x=1,color=2})", error(stamp, "VNStampSet11", change),
                "Set bgcolor({bgcolor=1,alpha=0})",
                error(stamp, "VNStampBgColorSet1", "!obj->Set(\"bgcolor\",ap),bgcolor=1,alpha=0"),
                "Set draw0({draw=false})",
                error(stamp, "VNStampEnable0", "!obj->Set(\"draw0\",ap),draw=false")}));
    EXPECT_EQ(VN(VNStampInit0)(0, 1, 2, "f"), -1);
    EXPECT_EQ(VN(VNStampInit0)(acquire(66), 1, 2, "f"), -1);
    EXPECT_EQ(VN(VNStampInit0)(id, 0, 2, "f"), -7);
    EXPECT_EQ(happened(), (Events{error(stamp, "VNStampInit0", "!obj"), error(stamp, "VNStampInit0", "!w")}));
}

TEST_F(PictureControlTest, CreatesTheLibrarysOwnStampOnce) {
    const auto trace = [](const std::string& text) { return line(28, "vornisa_control", "VNAcquire", text); };
    EXPECT_EQ(VN(VNStampInit)(16, 32, "f"), 0);
    const Events first = happened();
    ASSERT_EQ(first.size(), 4u);
    EXPECT_EQ(first[0], trace("(int)type=76"));
    EXPECT_EQ(first[3], "Set init0({refw=1920,refh=1080,w=16,h=32,font=f})");
    EXPECT_EQ(VN(VNStampInit)(16, 32, "f"), -1);
    EXPECT_EQ(VN(VNStampSet)(1, 2, 3, "p"), 0);
    EXPECT_EQ(VN(VNStampSet1)(1, 2, 0x01000003, "p"), 0);
    EXPECT_EQ(VN(VNStampBgColorSet)(4), 0);
    EXPECT_EQ(VN(VNStampEnable)(0), 0);
    EXPECT_EQ(happened(), (Events{error(stamp, "VNStampInit", "_stamp,stamp is inited!"),
                                  "Set change0({pattern=p,refw=1920,refh=1080,x=1,y=2,color=3})",
                                  "Set change0({pattern=p,refw=1920,refh=1080,x=1,y=2,color=16777219})",
                                  "Set bgcolor({bgcolor=4,alpha=0})", "Set draw0({draw=false})"}));
}

TEST_F(PictureControlTest, SetsNothingWithoutAStamp) {
    refuse("kepCreate");
    EXPECT_EQ(VN(VNStampSet)(1, 2, 3, "p"), -1);
    EXPECT_EQ(happened().back(), error(stamp, "VNStampSet", "VNAcquire(VNRES_STAMP,&_stamp)!=VNRES_SUCCEED"));
}

TEST_F(PictureControlTest, TurnsThePictureInThreeSteps) {
    EXPECT_EQ(VN(VNTurnVideo)(1), 0);
    EXPECT_EQ(VN(VNTurnVideo)(4), -3);
    EXPECT_EQ(VN(VNTurnVideo)(-1), -3);
    EXPECT_EQ(happened(), (Events{"Run shm0_cmd(cmd=cdspUpdate,vflip=false,yuvid=-1)",
                                  "Run shm0_cmd(cmd=hflipUpdate,hflip=true)",
                                  "Run shm0_cmd(cmd=mdflipUpdate,hflip=true,vflip=false)"}));
    state().texts["hflipUpdate"] = "true";
    EXPECT_EQ(VN(VNTurnVideo)(2), -1);
    EXPECT_EQ(happened(), (Events{"Run shm0_cmd(cmd=cdspUpdate,vflip=true,yuvid=-1)",
                                  "Run shm0_cmd(cmd=hflipUpdate,hflip=false)"}));
    refuse("Run shm0_cmd");
    EXPECT_EQ(VN(VNTurnVideo)(0), -1);
    EXPECT_EQ(happened().back(),
              error("vornisa_video_turn", "VNVideoVFlip", "!Factory::Globle().Run(\"shm0_cmd\",ap)"));
}

TEST_F(PictureControlTest, FlickerIsSwitched) {
    EXPECT_EQ(VN(VNAeFlick)(2), 0);
    state().texts["aeflick"] = "true";
    EXPECT_EQ(VN(VNAeFlick)(0), -1);
    refuse("Run shm0_cmd");
    EXPECT_EQ(VN(VNAeFlick)(0), -1);
    EXPECT_EQ(happened(),
              (Events{"Run shm0_cmd(cmd=aeflick,aeflick=true)", "Run shm0_cmd(cmd=aeflick,aeflick=false)",
                      "Run shm0_cmd(cmd=aeflick,aeflick=false)",
                      error("vornisa_ae_flick", "VNFlick", "!Factory::Globle().Run(\"shm0_cmd\",ap)")}));
}

}  // namespace
}  // namespace twin
