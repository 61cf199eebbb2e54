#include <pthread.h>

#include "fixture.h"

namespace unit {
namespace {

struct Kind {
    int type;
    const char* name;
    const char* call; /**< of the framework, with its argument */
};

void PrintTo(const Kind& kind, std::ostream* out) {
    *out << kind.name;
}

const Kind kinds[] = {
    {31, "REC_MAN", "kepCreate(type=Application,name=appVornisaRecMan,noconfigure=true)"},
    {65, "YUV_SOURCE", "IYuvSource::CreateNew(vornisa)"},
    {66, "H264_SOURCE", "IH264Source::CreateNew(vornisa)"},
    {67, "PCM_SOURCE", "IPcmSource::CreateNew(vornisa)"},
    {68, "AAC_SOURCE", "IAacSource::CreateNew(vornisa)"},
    {69, "PCM_PLAYER", "IPcmPlayer::CreateNew(vornisa)"},
    {70, "AAC_ENCODER", "kepCreate(type=AacCodec,name=aacEncoder,isEncoder=true)"},
    {71, "AAC_DECODER", "kepCreate(type=AacCodec,name=aacDecoder,isEncoder=false)"},
    {72, "QRCODE",
     "kepCreate(type=ShmService,index=1,partner={type=Application,name=appQrCode,layout={type=Pipeline,"
     "name=plQrCode,layout={PvYuvSrcAdv:w=640,h=360+FrameRateCtrl:fr=1+ZBarSink:dbg=false}}})"},
    {73, "PHOTOGRAPHY", "IPhotography::CreateNew(vornisa)"},
    {74, "EVENT_SERVICE",
     "kepCreate(type=Application,layout={type=pipeline,layout={ShmSource:connect={type=pipeline,"
     "name=plPreRecordAac},name=asrc+FifoFilter:name=afifo,max=8+ShmSource:connect={type=pipeline,"
     "name=plPreRecordH264},name=vsrc,link=null+FifoFilter:name=vfifo,max=8+Sync:name=sync,"
     "link={afifo,vfifo}+RecordEventServiceTriggerShm:name=ctrl,delApp=false,dbg=false,"
     "shmCreater={type=VornisaSharedMemory,name=shm,free=true}+muxer-fmp4:name=muxer,dbg=false}},"
     "name=appRecordEventService)"},
    {75, "SHARED_MEMORY", "kepCreate(type=VornisaSharedMemory,name=shm,free=false)"},
    {76, "STAMP", "kepCreate(type=StampParam,name=stampparam,ShmMax=16,ShmIdx=0,ShmName=vornisa_shm_stamp)"},
    {77, "DEMUX",
     "kepCreate(type=Application,layout={type=Pipeline,layout={Mp4Demuxer:name=demux+H264SpsPpsAdd:"
     "name=spsppsAdd,caps=video+FuncSink:name=vsink,caps=video,link=spsppsAdd+FuncSink:name=asink,"
     "caps=audio,link=demux}})"},
    {78, "HUMAN_SHM", "kepCreate(type=ShmService,index=1,name=humanShmService,noconfigure=true)"},
};

class AcquireTest : public PluginTest, public ::testing::WithParamInterface<Kind> {
  protected:
    std::string traceOf(int type) { return trace("VNAcquire", "(int)type=" + std::to_string(type)); }
};

TEST_P(AcquireTest, CreatesTheObjectOfTheType) {
    int id = 0;
    ASSERT_EQ(VNAcquire(GetParam().type, &id), VNRES_SUCCEED);
    ASSERT_NE(id, 0);
    EXPECT_EQ(script.liveObjects(), 1);
    Events events = happened();
    ASSERT_EQ(events.size(), 3u);
    EXPECT_EQ(events[0], traceOf(GetParam().type));
    EXPECT_EQ(events[1], GetParam().call);
    EXPECT_EQ(VNRelease(id), VNRES_SUCCEED);
    EXPECT_EQ(script.liveObjects(), 0);
}

TEST_P(AcquireTest, FailsWhenTheFrameworkCreatesNothing) {
    const std::string call = GetParam().call;
    script.refuse(call.substr(0, call.find('(')));
    int id = 17;
    EXPECT_EQ(VNAcquire(GetParam().type, &id), VNRES_FAIL);
    EXPECT_EQ(id, 17);
    EXPECT_EQ(happened(), (Events{traceOf(GetParam().type), call, error("VNAcquire", "!obj")}));
}

TEST_P(AcquireTest, CreatesNothingForANullPointer) {
    EXPECT_EQ(VNAcquire(GetParam().type, nullptr), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), (Events{traceOf(GetParam().type), error("VNAcquire", "!id")}));
}

INSTANTIATE_TEST_SUITE_P(Kinds, AcquireTest, ::testing::ValuesIn(kinds),
                         [](const auto& test) { return std::string(test.param.name); });

class UnknownTypeTest : public PluginTest, public ::testing::WithParamInterface<int> {};

TEST_P(UnknownTypeTest, IsRefused) {
    const std::string type = std::to_string(GetParam());
    int id = 17;
    EXPECT_EQ(VNAcquire(GetParam(), &id), VNRES_INVALID_ARG);
    EXPECT_EQ(id, 17);
    EXPECT_EQ(happened(), (Events{trace("VNAcquire", "(int)type=" + type),
                                  error("VNAcquire", "unsupported VNRes_Type:" + type)}));
}

INSTANTIATE_TEST_SUITE_P(Types, UnknownTypeTest,
                         ::testing::Values(0, 1, 30, 32, 64, 79, -1, 2147483647, -2147483647 - 1),
                         [](const auto& test) {
                             return "n" + std::to_string(static_cast<unsigned>(test.param));
                         });

using ReleaseTest = PluginTest;

TEST_F(ReleaseTest, AnAcquisitionLogsObjectAndHandle) {
    kep::object_base* const object = new Stream<>;
    script.offer(object);
    int id = 0;
    ASSERT_EQ(VNAcquire(VNRES_SHARED_MEMORY, &id), VNRES_SUCCEED);
    EXPECT_EQ(happened(), (Events{trace("VNAcquire", "(int)type=75"),
                                  "kepCreate(type=VornisaSharedMemory,name=shm,free=false)",
                                  trace("VNAcquire", shown(object) + "," + std::to_string(id))}));
    EXPECT_TRUE(_vornisa_maps.empty());
    EXPECT_EQ(VNRelease(id), VNRES_SUCCEED);
    EXPECT_EQ(happened(), (Events{trace("VNRelease", std::to_string(id)), "delete stream"}));
}

TEST_F(ReleaseTest, TheObjectOfAFactoryIsLoggedByItsRoot) {
    int id = 0;
    auto* const source = new Stream<ControlPart, OutputPart, AudioPart, kep::api::streaming::IPcmSource>;
    kep::object_base* const root = source;
    script.offer(root);
    ASSERT_EQ(VNAcquire(VNRES_PCM_SOURCE, &id), VNRES_SUCCEED);
    EXPECT_EQ(happened().back(), trace("VNAcquire", shown(root) + "," + std::to_string(id)));
    EXPECT_EQ(VNRelease(id), VNRES_SUCCEED);
}

void* acquireInThread(void* id) {
    VNAcquire(VNRES_STAMP, static_cast<int*>(id));
    return id;
}

TEST_F(ReleaseTest, AThreadThatEndsInTheLastLogLineLeavesAValidHandle) {
    script.offer(new Stream<ControlPart>);
    int id = 0;
    endThreadsInStreams(1);
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, nullptr, acquireInThread, &id), 0);
    void* result = &id;
    ASSERT_EQ(pthread_join(thread, &result), 0);
    EXPECT_EQ(result, nullptr) << "the thread did not end in the log line";
    script.reset();
    ASSERT_NE(id, 0);
    ASSERT_EQ(script.liveObjects(), 1);
    EXPECT_EQ(VNStart(id), VNRES_SUCCEED);
    EXPECT_EQ(VNRelease(id), VNRES_SUCCEED);
}

TEST_F(ReleaseTest, RefusesHandleZero) {
    EXPECT_EQ(VNRelease(0), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), (Events{trace("VNRelease", "0"), error("VNRelease", "!id")}));
}

TEST_F(ReleaseTest, DestroysAnAuxiliaryObjectBeforeTheObject) {
    script.offer(new Stream<>);
    int id = 0;
    ASSERT_EQ(VNAcquire(VNRES_STAMP, &id), VNRES_SUCCEED);
    _vornisa_maps[id] = new PlainObject;
    happened();
    EXPECT_EQ(VNRelease(id), VNRES_SUCCEED);
    EXPECT_EQ(happened(), (Events{trace("VNRelease", std::to_string(id)), "delete object", "delete stream"}));
    EXPECT_TRUE(_vornisa_maps.empty());
}

TEST_F(ReleaseTest, ErasesAnEntryWithoutAnAuxiliaryObject) {
    script.offer(new Stream<>);
    int id = 0;
    ASSERT_EQ(VNAcquire(VNRES_STAMP, &id), VNRES_SUCCEED);
    _vornisa_maps[id] = nullptr;
    happened();
    EXPECT_EQ(VNRelease(id), VNRES_SUCCEED);
    EXPECT_EQ(happened(), (Events{trace("VNRelease", std::to_string(id)), "delete stream"}));
    EXPECT_TRUE(_vornisa_maps.empty());
}

TEST_F(ReleaseTest, LeavesTheEntriesOfOtherHandles) {
    script.offer(new Stream<>);
    int id = 0;
    ASSERT_EQ(VNAcquire(VNRES_STAMP, &id), VNRES_SUCCEED);
    const int other = handleOf(new Stream<>);
    _vornisa_maps[other] = nullptr;
    EXPECT_EQ(VNRelease(id), VNRES_SUCCEED);
    EXPECT_EQ(_vornisa_maps.count(other), 1u);
}

TEST_F(ReleaseTest, NeverStopsOrStarts) {
    auto* const object = new Stream<ControlPart>;
    script.offer(object);
    int id = 0;
    ASSERT_EQ(VNAcquire(VNRES_STAMP, &id), VNRES_SUCCEED);
    ASSERT_EQ(VNStart(id), VNRES_SUCCEED);
    happened();
    EXPECT_EQ(VNRelease(id), VNRES_SUCCEED);
    EXPECT_EQ(happened(), (Events{trace("VNRelease", std::to_string(id)), "delete stream"}));
}

}  // namespace
}  // namespace unit
