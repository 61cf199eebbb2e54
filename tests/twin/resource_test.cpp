/** Loading, resources and their state, messages. */
#include <regex>

#include "fixture.h"

namespace twin {
namespace {

using kep::object_base;

const std::string source = "vornisa_control";

std::string trace(const std::string& function, const std::string& text) {
    return line(28, source, function, text);
}

std::string refusal(const std::string& function, const std::string& text) {
    return error(source, function, text);
}

using ResourceTest = TwinTest;

TEST_F(ResourceTest, LoadingRegistersThePlugIn) {
    EXPECT_EQ(loading_,
              (Events{"ReflectAdd(9999,PluginVornisaApi,vornisa/pluginvornisaapi@version:1.1.1.6885)"}));
    EXPECT_EQ(*static_cast<int*>(symbol("__cb_register_PluginVornisaApi")), 77);
    find<void(const char*)>("RegisterPluginVornisaApi")("any text");
    EXPECT_EQ(happened(), Events{});
}

struct Kind {
    int type;
    const char* made;
};

// "|" separates the call from its text.
const Kind kinds[] = {
    {31, "kepCreate|type=Application,name=appVornisaRecMan,noconfigure=true"},
    {65, "IYuvSource|vornisa"},
    {66, "IH264Source|vornisa"},
    {67, "IPcmSource|vornisa"},
    {68, "IAacSource|vornisa"},
    {69, "IPcmPlayer|vornisa"},
    {70, "kepCreate|type=AacCodec,name=aacEncoder,isEncoder=true"},
    {71, "kepCreate|type=AacCodec,name=aacDecoder,isEncoder=false"},
    {72,
     "kepCreate|type=ShmService,index=1,partner={type=Application,name=appQrCode,layout={type=Pipeline,"
     "name=plQrCode,layout={PvYuvSrcAdv:w=640,h=360+FrameRateCtrl:fr=1+ZBarSink:dbg=false}}}"},
    {73, "IPhotography|vornisa"},
    {74,
     "kepCreate|type=Application,layout={type=pipeline,layout={ShmSource:connect={type=pipeline,"
     "name=plPreRecordAac},name=asrc+FifoFilter:name=afifo,max=8+ShmSource:connect={type=pipeline,"
     "name=plPreRecordH264},name=vsrc,link=null+FifoFilter:name=vfifo,max=8+Sync:name=sync,"
     "link={afifo,vfifo}+RecordEventServiceTriggerShm:name=ctrl,delApp=false,dbg=false,"
     "shmCreater={type=VornisaSharedMemory,name=shm,free=true}+muxer-fmp4:name=muxer,dbg=false}},"
     "name=appRecordEventService"},
    {75, "kepCreate|type=VornisaSharedMemory,name=shm,free=false"},
    {76, "kepCreate|type=StampParam,name=stampparam,ShmMax=16,ShmIdx=0,ShmName=vornisa_shm_stamp"},
    {77,
     "kepCreate|type=Application,layout={type=Pipeline,layout={Mp4Demuxer:name=demux+H264SpsPpsAdd:"
     "name=spsppsAdd,caps=video+FuncSink:name=vsink,caps=video,link=spsppsAdd+FuncSink:name=asink,"
     "caps=audio,link=demux}}"},
    {78, "kepCreate|type=ShmService,index=1,name=humanShmService,noconfigure=true"},
};

TEST_F(ResourceTest, CreatesAndDestroysEachTypeThroughItsRoot) {
    for (const Kind& kind : kinds) {
        const std::string made = kind.made;
        const std::string call = made.substr(0, made.find('|'));
        const std::string text = made.substr(made.find('|') + 1);
        int id = 0;
        ASSERT_EQ(VN(VNAcquire)(kind.type, &id), 0) << made;
        object_base* const object = newestObject();
        ASSERT_NE(object, nullptr) << made;
        if (sizeof(void*) == sizeof(int)) {
            EXPECT_EQ(id, static_cast<int>(reinterpret_cast<std::uintptr_t>(object))) << made;
        }
        EXPECT_EQ(happened(), (Events{trace("VNAcquire", "(int)type=" + std::to_string(kind.type)),
                                      call + "(" + text + ")",
                                      trace("VNAcquire", shown(object) + "," + std::to_string(id))}));

        EXPECT_EQ(VN(VNRelease)(id), 0);
        const bool stream = call != "kepCreate";
        EXPECT_EQ(happened(),
                  (Events{trace("VNRelease", std::to_string(id)), stream ? "~stream" : "~Thing"}));
        EXPECT_EQ(liveObjects(), 0) << made;
    }
}

TEST_F(ResourceTest, FailsWhenTheFrameworkCreatesNoObject) {
    for (const Kind& kind : kinds) {
        const std::string made = kind.made;
        refuse(made.substr(0, made.find('|')));
        int id = 5;
        EXPECT_EQ(VN(VNAcquire)(kind.type, &id), -1);
        EXPECT_EQ(id, 5);
        EXPECT_EQ(happened().back(), refusal("VNAcquire", "!obj"));
    }
    EXPECT_EQ(VN(VNAcquire)(79, nullptr), -7);
    int id = 5;
    EXPECT_EQ(VN(VNAcquire)(79, &id), -7);
    EXPECT_EQ(VN(VNRelease)(0), -7);
    EXPECT_EQ(happened(),
              (Events{trace("VNAcquire", "(int)type=79"), refusal("VNAcquire", "!id"),
                      trace("VNAcquire", "(int)type=79"), refusal("VNAcquire", "unsupported VNRes_Type:79"),
                      trace("VNRelease", "0"), refusal("VNRelease", "!id")}));
}

TEST_F(ResourceTest, ChangesTheStateOfStreamsByControl) {
    for (const int type : {65, 66, 67, 68, 69, 73}) {
        const int id = acquire(type);
        const std::string shownId = std::to_string(id);
        EXPECT_EQ(VN(VNStart)(id), 0);
        EXPECT_EQ(VN(VNStop)(id), 0);
        EXPECT_EQ(happened(), (Events{trace("VNStart", shownId), "ChangeUp(4)", trace("VNStop", shownId),
                                      "ChangeDown(1)"}));
        VN(VNRelease)(id);
    }
    const int id = acquire(66);
    refuse("ChangeUp");
    refuse("ChangeDown");
    EXPECT_EQ(VN(VNStart)(id), -1);
    EXPECT_EQ(VN(VNStop)(id), -1);
    EXPECT_EQ(VN(VNStart)(0), -7);
    EXPECT_EQ(VN(VNStop)(0), -7);
    const std::string shownId = std::to_string(id);
    EXPECT_EQ(happened(), (Events{trace("VNStart", shownId), "ChangeUp(4)",
                                  refusal("VNStart", "!ctl->ChangeUp(State::play)"), trace("VNStop", shownId),
                                  "ChangeDown(1)", refusal("VNStop", "!ctl->ChangeDown(State::null)"),
                                  trace("VNStart", "0"), refusal("VNStart", "!id"), trace("VNStop", "0"),
                                  refusal("VNStop", "!id")}));
}

TEST_F(ResourceTest, ChangesTheStateOfObjectsByProperty) {
    const int id = acquire(77);
    const std::string shownId = std::to_string(id);
    EXPECT_EQ(VN(VNStart)(id), 0);
    EXPECT_EQ(VN(VNStop)(id), 0);
    refuse("SetStr statusup");
    refuse("SetStr statusdown");
    EXPECT_EQ(VN(VNStart)(id), -1);
    EXPECT_EQ(VN(VNStop)(id), -1);
    EXPECT_EQ(happened(),
              (Events{trace("VNStart", shownId), "SetStr statusup(play)", trace("VNStop", shownId),
                      "SetStr statusdown(null)", trace("VNStart", shownId), "SetStr statusup(play)",
                      refusal("VNStart", "!rcv->Set(\"statusup\",\"play\")"), trace("VNStop", shownId),
                      "SetStr statusdown(null)", refusal("VNStop", "!rcv->Set(\"statusdown\",\"null\")")}));
}

TEST_F(ResourceTest, ReportsWhetherAnObjectIsRunning) {
    const int id = acquire(77);
    int running = 9;
    EXPECT_EQ(VN(VNIsRunning)(id, &running), 0);
    EXPECT_EQ(running, 0);
    state().playing = true;
    EXPECT_EQ(VN(VNIsRunning)(id, &running), 0);
    EXPECT_EQ(running, 1);
    EXPECT_EQ(VN(VNIsRunning)(id, nullptr), 0);
    const int stream = acquire(66);
    EXPECT_EQ(VN(VNIsRunning)(stream, &running), -3);
    EXPECT_EQ(VN(VNIsRunning)(0, &running), -7);
    EXPECT_EQ(happened(), (Events{refusal("VNIsRunning", "unsupport register message callback!"),
                                  refusal("VNIsRunning", "!id")}));
}

std::string delivered;

void deliver(const char* message) {
    delivered = message;
}

/** A message as the framework sends it: attributes, and a text form of them. */
struct Notice final : kep::base::Message {
    kep::base::AttrSet attributes{"name=found,code=42"};
    void toString(std::string& text) const override { text = attributes.ToString(false); }
    bool fromString(const char*) override { return false; }
    kep::base::AttrSet& set() override { return attributes; }
};

TEST_F(ResourceTest, DeliversTheTextsOfStreamsUnchanged) {
    const int id = acquire(66);
    int hd = 0;
    EXPECT_EQ(VN(VNRegisterMessageCallback)(id, deliver), 0);
    EXPECT_TRUE(state().onText("name=one"));
    EXPECT_EQ(delivered, "name=one");
    EXPECT_EQ(VN(VNRegisterMessageCallback2)(id, deliver, &hd), 0);
    EXPECT_TRUE(state().onText("name=two"));
    EXPECT_EQ(delivered, "name=two");
    refuse("onMessage");
    EXPECT_EQ(VN(VNRegisterMessageCallback)(id, deliver), 0);
    EXPECT_EQ(happened(), (Events{"onMessage()", "onMessage()", "onMessage()"}));
}

TEST_F(ResourceTest, DeliversTheMessagesOfObjectsWithTheHandle) {
    const int id = acquire(72);
    int hd = 0;
    EXPECT_EQ(VN(VNRegisterMessageCallback)(id, deliver), 0);
    Notice first;
    EXPECT_TRUE(state().onMessage(first));
    EXPECT_EQ(delivered, "name=found,code=42,id=" + std::to_string(id));
    EXPECT_EQ(VN(VNRegisterMessageCallback2)(id, deliver, &hd), 0);
    Notice second;
    EXPECT_TRUE(state().onMessage(second));
    EXPECT_EQ(delivered, "name=found,code=42,vornisa_id=" + std::to_string(id) + ",vornisa_hd=" + shown(&hd));
    EXPECT_EQ(VN(VNRegisterMessageCallback)(0, deliver), -7);
    EXPECT_EQ(VN(VNRegisterMessageCallback2)(0, deliver, &hd), -7);
    EXPECT_EQ(happened(), (Events{"RegisterMessageProcessCallback()", "RegisterMessageProcessCallback()",
                                  refusal("VNRegisterMessageCallback", "!id"),
                                  refusal("VNRegisterMessageCallback2", "!id")}));
}

}  // namespace
}  // namespace twin
