#include <cstddef>

#include "fixture.h"
#include "properties.h"

namespace unit {
namespace {

using kep::stream::IMedia;
using kep::stream::Packet;

std::string refused(const std::string& function, const std::string& text) {
    return line(8, red, "api/vornisa_demux.cpp", function, text);
}

class Media final : public IMedia {
  public:
    int Codec() const override {
        step("Codec");
        return codec;
    }
    void toString(std::string& text) const override {
        step("toString");
        text = "codec=h264,w=1920";
    }
    bool fromString(const char*) override { return step("fromString"); }
    int codec = 27;
};

class TestPacket final : public Packet {
  public:
    const void* Data() const override { return data; }
    int Size() const override { return size; }
    std::int64_t PlayTime() const override { return playTime; }
    bool IsKey() const override { return key; }
    IMedia* Media() const override { return media; }

    const void* data = nullptr;
    int size = 0;
    std::int64_t playTime = 0;
    bool key = false;
    IMedia* media = nullptr;
};

std::vector<VNDemuxPacket> packets;
std::vector<VNDemuxTrack> tracks;
std::string trackText;

void takePacket(const VNDemuxPacket* packet) {
    packets.push_back(*packet);
    step("cbfrm");
}

void takeTrack(const VNDemuxTrack* track) {
    tracks.push_back(*track);
    trackText = track->desc;
    step("cbtrunk");
}

const Events whole = {"app.FindChild(recursive,demux)",
                      "demux.SetStr url(file:///mnt/sd/a.mp4)",
                      "app.FindChild(recursive,vsink)",
                      "vsink.Set funcOpen(open function)",
                      "vsink.Set funcProcess(packet function)",
                      "app.FindChild(recursive,asink)",
                      "asink.Set funcOpen(open function)",
                      "asink.Set funcProcess(packet function)",
                      "app.SetStr statusup(ready)",
                      "demux.GetWithType duration(int64,integers)",
                      "demux.SetWithType seek(int64 1234,integers)"};

Events head(std::size_t count) {
    return Events(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(count));
}

class DemuxTest : public PluginTest {
  protected:
    DemuxTest() : app(new PropertyObject("app")), id(handleOf(app)) {
        packets.clear();
        tracks.clear();
        trackText.clear();
    }

    /** Adds elements of these names below the application's pipeline. */
    void build(const std::vector<const char*>& names = {"demux", "spsppsAdd", "vsink", "asink"}) {
        PropertyObject* const pipeline = app->add("pipeline");
        for (const char* const name : names) elements[name] = pipeline->add(name);
        if (elements.count("demux")) elements["demux"]->integers["duration"] = 60000;
    }

    int set() { return VNDemuxSet(id, &res); }

    bool process(const char* sink, Packet* packet) {
        return elements[sink]->packetFunctions["funcProcess"](packet);
    }
    bool open(const char* sink, IMedia* opened) {
        return elements[sink]->openFunctions["funcOpen"](nullptr, opened);
    }

    PropertyObject* app;
    std::map<std::string, PropertyObject*> elements;
    int id;
    int mark = 0;
    VNDemuxRes res = {"/mnt/sd/a.mp4", 1234, takePacket, takeTrack, 17, &mark};
    Media media;
};

using DemuxSetTest = DemuxTest;

TEST_F(DemuxSetTest, ConfiguresTheApplicationInOrder) {
    build();
    EXPECT_EQ(set(), VNRES_SUCCEED);
    EXPECT_EQ(happened(), whole);
    EXPECT_EQ(res.duration, 60000);
    EXPECT_STREQ(res.filename, "/mnt/sd/a.mp4");
    EXPECT_EQ(res.seek_ms, 1234);
    EXPECT_EQ(res.user, &mark);
}

TEST_F(DemuxSetTest, DoesNotSeekToZero) {
    build();
    res.seek_ms = 0;
    EXPECT_EQ(set(), VNRES_SUCCEED);
    EXPECT_EQ(happened(), head(10));
}

TEST_F(DemuxSetTest, SeeksToAnyOtherPosition) {
    build();
    for (const std::int64_t position : {std::int64_t{1}, std::int64_t{-1}, std::int64_t{5000000000}}) {
        res.seek_ms = position;
        EXPECT_EQ(set(), VNRES_SUCCEED);
        EXPECT_EQ(elements["demux"]->integers["seek"], position);
    }
}

TEST_F(DemuxSetTest, SeeksOnTheDemultiplexerNotOnTheApplication) {
    build();
    EXPECT_EQ(set(), VNRES_SUCCEED);
    EXPECT_EQ(elements["demux"]->integers.count("seek"), 1u);
    EXPECT_EQ(app->integers.count("seek"), 0u);
}

TEST_F(DemuxSetTest, FindsElementsIgnoringCase) {
    build({"DEMUX", "Vsink", "aSINK"});
    elements["DEMUX"]->integers["duration"] = 5;
    EXPECT_EQ(set(), VNRES_SUCCEED);
    EXPECT_EQ(res.duration, 5);
}

TEST_F(DemuxSetTest, GivesAll64BitsOfTheDuration) {
    build();
    elements["demux"]->integers["duration"] = -5000000001;
    EXPECT_EQ(set(), VNRES_SUCCEED);
    EXPECT_EQ(res.duration, -5000000001);
}

TEST_F(DemuxSetTest, AcceptsANameOfAnyLength) {
    build();
    const std::string name = "/mnt/" + std::string(100000, 'x') + ",{}.mp4";
    res.filename = name.c_str();
    EXPECT_EQ(set(), VNRES_SUCCEED);
    EXPECT_EQ(happened()[1], "demux.SetStr url(file://" + name + ")");
}

TEST_F(DemuxSetTest, ChecksTheHandleBeforeTheRecord) {
    EXPECT_EQ(VNDemuxSet(0, nullptr), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), Events{refused("VNDemuxSet", "!id")});
}

TEST_F(DemuxSetTest, RefusesANullRecord) {
    EXPECT_EQ(VNDemuxSet(id, nullptr), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), Events{refused("VNDemuxSet", "!res")});
}

TEST_F(DemuxSetTest, RefusesAnIncompleteRecordInTheOrderOfItsFields) {
    build();
    res.filename = nullptr;
    res.cbfrm = nullptr;
    res.cbtrunk = nullptr;
    EXPECT_EQ(set(), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), Events{refused("VNDemuxSet", "!res->filename")});
    res.filename = "/a.mp4";
    EXPECT_EQ(set(), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), Events{refused("VNDemuxSet", "!res->cbfrm")});
    res.cbfrm = takePacket;
    EXPECT_EQ(set(), VNRES_INVALID_ARG) << "a callback for packets alone is not enough";
    EXPECT_EQ(happened(), Events{refused("VNDemuxSet", "!res->cbtrunk")});
    EXPECT_EQ(res.duration, 17);
}

TEST_F(DemuxSetTest, FailsOnAStream) {
    EXPECT_EQ(VNDemuxSet(handleOf(new Stream<OutputPart>), &res), VNRES_FAIL);
    EXPECT_EQ(happened(), Events{refused("VNDemuxSet", "!app")});
}

TEST_F(DemuxSetTest, FailsWithoutADemultiplexer) {
    build({"vsink", "asink"});
    EXPECT_EQ(set(), VNRES_FAIL);
    EXPECT_EQ(happened(), (Events{"app.FindChild(recursive,none)", refused("VNDemuxSet", "!demux")}));
}

TEST_F(DemuxSetTest, FailsWithoutASinkForVideo) {
    build({"demux", "asink"});
    EXPECT_EQ(set(), VNRES_FAIL);
    Events expected = head(2);
    expected.insert(expected.end(), {"app.FindChild(recursive,none)", refused("VNDemuxSet", "!vsink")});
    EXPECT_EQ(happened(), expected);
}

TEST_F(DemuxSetTest, WithoutASinkForAudioTheVideoSinkKeepsTheCallbacks) {
    build({"demux", "vsink"});
    EXPECT_EQ(set(), VNRES_FAIL);
    Events expected = head(5);
    expected.insert(expected.end(), {"app.FindChild(recursive,none)", refused("VNDemuxSet", "!asink")});
    EXPECT_EQ(happened(), expected);
    TestPacket packet;
    EXPECT_TRUE(process("vsink", &packet));
    EXPECT_EQ(packets.size(), 1u);
    EXPECT_TRUE(open("vsink", &media));
    EXPECT_EQ(tracks.size(), 1u);
}

/** A step that the framework refuses. */
struct Refusal {
    std::size_t at; /**< index in `whole` */
    const char* step;
    const char* text;
};

class DemuxRefusalTest : public DemuxTest, public ::testing::WithParamInterface<Refusal> {};

TEST_P(DemuxRefusalTest, EndsTheCallAndUndoesNothing) {
    build();
    script.refuse(GetParam().step);
    EXPECT_EQ(set(), VNRES_FAIL);
    Events expected = head(GetParam().at + 1);
    expected.push_back(refused("VNDemuxSet", GetParam().text));
    EXPECT_EQ(happened(), expected);
    // The duration is known only once it has been read.
    EXPECT_EQ(res.duration, GetParam().at > 9 ? 60000 : 17);
    TestPacket packet;
    for (const std::size_t installed : {std::size_t{4}, std::size_t{7}}) {
        if (GetParam().at <= installed) continue;
        packets.clear();
        EXPECT_TRUE(process(installed == 4 ? "vsink" : "asink", &packet));
        EXPECT_EQ(packets.size(), 1u) << installed;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Steps, DemuxRefusalTest,
    ::testing::Values(Refusal{1, "demux.SetStr url",
                              "!demux->Set(\"url\",(std::string)\"file://\"+res->filename)"},
                      Refusal{3, "vsink.Set funcOpen", "!vsink->Set(\"funcOpen\",funcOpen)"},
                      Refusal{4, "vsink.Set funcProcess", "!vsink->Set(\"funcProcess\",funcPkt)"},
                      Refusal{6, "asink.Set funcOpen", "!asink->Set(\"funcOpen\",funcOpen)"},
                      Refusal{7, "asink.Set funcProcess", "!asink->Set(\"funcProcess\",funcPkt)"},
                      Refusal{8, "app.SetStr statusup", "!app->Set(\"statusup\",\"ready\")"},
                      Refusal{9, "demux.GetWithType duration", "!demux->Get(\"duration\",res->duration)"},
                      Refusal{10, "demux.SetWithType seek", "!demux->Set(\"seek\",res->seek_ms),1234ms"}),
    [](const auto& test) { return "Step" + std::to_string(test.param.at); });

TEST_F(DemuxSetTest, AnExceptionOfTheFrameworkIsLogged) {
    build();
    script.throwAt("app.SetStr statusup");
    EXPECT_EQ(set(), VNRES_FAIL);
    Events expected = head(9);
    expected.push_back(refused("VNDemuxSet", "exception:std::bad_alloc"));
    EXPECT_EQ(happened(), expected);
}

TEST_F(DemuxSetTest, TheRecordMayEndAfterTheCall) {
    build();
    {
        std::string name = "/a.mp4";
        VNDemuxRes passing = {name.c_str(), 0, takePacket, takeTrack, 0, &mark};
        EXPECT_EQ(VNDemuxSet(id, &passing), VNRES_SUCCEED);
        passing = {};
    }
    TestPacket packet;
    EXPECT_TRUE(process("asink", &packet));
    ASSERT_EQ(packets.size(), 1u);
    EXPECT_EQ(packets[0].user, &mark);
    EXPECT_TRUE(open("asink", &media));
    ASSERT_EQ(tracks.size(), 1u);
    EXPECT_EQ(tracks[0].user, &mark);
}

class DemuxPacketTest : public DemuxTest {
  protected:
    DemuxPacketTest() {
        build();
        EXPECT_EQ(set(), VNRES_SUCCEED);
        happened();
        packet.data = bytes;
        packet.size = sizeof bytes;
        packet.playTime = 40000000;
        packet.key = true;
        packet.media = &media;
    }

    unsigned char bytes[3] = {1, 2, 3};
    TestPacket packet;
};

class DemuxCallbackTest : public DemuxPacketTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(DemuxCallbackTest, APacketArrivesAsARecord) {
    EXPECT_TRUE(process(GetParam(), &packet));
    EXPECT_EQ(happened(), (Events{"Codec()", "cbfrm()"}));
    ASSERT_EQ(packets.size(), 1u);
    EXPECT_EQ(packets[0].data, bytes);
    EXPECT_EQ(packets[0].size, 3);
    EXPECT_EQ(packets[0].pts_ms, 40);
    EXPECT_EQ(packets[0].codec, 27);
    EXPECT_EQ(packets[0].media, &media);
    EXPECT_EQ(packets[0].iskey, 1);
    EXPECT_EQ(packets[0].user, &mark);
}

TEST_P(DemuxCallbackTest, ATrackArrivesAsARecordWithItsText) {
    EXPECT_TRUE(open(GetParam(), &media));
    EXPECT_EQ(happened(), (Events{"toString()", "cbtrunk()"}));
    ASSERT_EQ(tracks.size(), 1u);
    EXPECT_EQ(tracks[0].media, &media);
    EXPECT_EQ(trackText, "codec=h264,w=1920");
    EXPECT_EQ(tracks[0].user, &mark);
}

TEST_P(DemuxCallbackTest, ANullPacketIsIgnored) {
    EXPECT_TRUE(process(GetParam(), nullptr));
    EXPECT_EQ(happened(), Events{});
}

TEST_P(DemuxCallbackTest, ANullTrackIsRefusedUnderTheNameOfTheAdapter) {
    EXPECT_FALSE(open(GetParam(), nullptr));
    EXPECT_EQ(happened(), Events{refused("processMedia", "!media")});
}

INSTANTIATE_TEST_SUITE_P(Sinks, DemuxCallbackTest, ::testing::Values("vsink", "asink"),
                         [](const auto& test) { return std::string(test.param); });

TEST_F(DemuxPacketTest, TimesAreRoundedTowardsZero) {
    const std::pair<std::int64_t, std::int64_t> times[] = {
        {-1500000, -1}, {2999999, 2},   {-999999, 0}, {999999, 0},
        {1000000, 1},   {-1000000, -1}, {0, 0},       {9223372036854775807, 9223372036854}};
    for (const auto& [nanoseconds, milliseconds] : times) {
        packet.playTime = nanoseconds;
        EXPECT_TRUE(process("vsink", &packet));
        EXPECT_EQ(packets.back().pts_ms, milliseconds) << nanoseconds;
    }
}

TEST_F(DemuxPacketTest, ClearsTheKeyFlagOfOtherFrames) {
    packet.key = false;
    EXPECT_TRUE(process("vsink", &packet));
    EXPECT_EQ(packets[0].iskey, 0);
}

TEST_F(DemuxPacketTest, APacketWithoutATrackHasCodec0) {
    packet.media = nullptr;
    EXPECT_TRUE(process("vsink", &packet));
    ASSERT_EQ(packets.size(), 1u);
    EXPECT_EQ(packets[0].media, nullptr);
    EXPECT_EQ(packets[0].codec, 0);
    EXPECT_EQ(packets[0].size, 3);
}

TEST_F(DemuxPacketTest, AnExceptionDoesNotStopTheSink) {
    script.throwAt("Codec");
    EXPECT_TRUE(process("vsink", &packet));
    EXPECT_EQ(happened(), (Events{"Codec()", refused("processPacket", "exception:std::bad_alloc")}));
}

TEST_F(DemuxPacketTest, AnExceptionRefusesATrack) {
    script.throwAt("toString");
    EXPECT_FALSE(open("vsink", &media));
    EXPECT_EQ(happened(), (Events{"toString()", refused("processMedia", "exception:std::bad_alloc")}));
    EXPECT_TRUE(tracks.empty());
}

class DemuxSeekTest : public DemuxTest {
  protected:
    const std::string found = "app.FindChild(recursive,demux)";
    std::string sought(std::int64_t position) {
        return "app.SetWithType seek(int64 " + std::to_string(position) + ",integers)";
    }
};

TEST_F(DemuxSeekTest, SeeksOnTheApplicationNotOnTheDemultiplexer) {
    build();
    EXPECT_EQ(VNDemuxSeek(id, 5000000000), VNRES_SUCCEED);
    EXPECT_EQ(happened(), (Events{found, sought(5000000000)}));
    EXPECT_EQ(elements["demux"]->integers.count("seek"), 0u);
}

TEST_F(DemuxSeekTest, ForwardsAnyPosition) {
    build();
    EXPECT_EQ(VNDemuxSeek(id, 0), VNRES_SUCCEED);
    EXPECT_EQ(VNDemuxSeek(id, -7), VNRES_SUCCEED);
    EXPECT_EQ(happened(), (Events{found, sought(0), found, sought(-7)}));
}

TEST_F(DemuxSeekTest, RefusesHandleZero) {
    EXPECT_EQ(VNDemuxSeek(0, 1), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), Events{refused("VNDemuxSeek", "!id")});
}

TEST_F(DemuxSeekTest, FailsOnAStream) {
    EXPECT_EQ(VNDemuxSeek(handleOf(new Stream<OutputPart>), 1), VNRES_FAIL);
    EXPECT_EQ(happened(), Events{refused("VNDemuxSeek", "!obj")});
}

TEST_F(DemuxSeekTest, FailsWithoutADemultiplexerAndDoesNotSeek) {
    build({"vsink", "asink"});
    EXPECT_EQ(VNDemuxSeek(id, 1), VNRES_FAIL);
    EXPECT_EQ(happened(), (Events{"app.FindChild(recursive,none)", refused("VNDemuxSeek", "!demux")}));
}

TEST_F(DemuxSeekTest, FailsWhenThePositionIsRefused) {
    build();
    script.refuse("app.SetWithType seek");
    EXPECT_EQ(VNDemuxSeek(id, -7), VNRES_FAIL);
    EXPECT_EQ(happened(),
              (Events{found, sought(-7), refused("VNDemuxSeek", "!obj->Set(\"seek\",pts_ms),-7ms")}));
}

TEST_F(DemuxSeekTest, AnExceptionOfTheFrameworkIsLogged) {
    build();
    script.throwAt("app.FindChild");
    EXPECT_EQ(VNDemuxSeek(id, 1), VNRES_FAIL);
    EXPECT_EQ(happened(), (Events{found, refused("VNDemuxSeek", "exception:std::bad_alloc")}));
}

// Applications are compiled separately from the library: the records' fields must keep their order.
static_assert(offsetof(VNDemuxRes, filename) < offsetof(VNDemuxRes, seek_ms), "order of fields");
static_assert(offsetof(VNDemuxRes, seek_ms) < offsetof(VNDemuxRes, cbfrm), "order of fields");
static_assert(offsetof(VNDemuxRes, cbfrm) < offsetof(VNDemuxRes, cbtrunk), "order of fields");
static_assert(offsetof(VNDemuxRes, cbtrunk) < offsetof(VNDemuxRes, duration), "order of fields");
static_assert(offsetof(VNDemuxRes, duration) < offsetof(VNDemuxRes, user), "order of fields");
static_assert(offsetof(VNDemuxPacket, data) < offsetof(VNDemuxPacket, size), "order of fields");
static_assert(offsetof(VNDemuxPacket, size) < offsetof(VNDemuxPacket, pts_ms), "order of fields");
static_assert(offsetof(VNDemuxPacket, pts_ms) < offsetof(VNDemuxPacket, codec), "order of fields");
static_assert(offsetof(VNDemuxPacket, codec) < offsetof(VNDemuxPacket, media), "order of fields");
static_assert(offsetof(VNDemuxPacket, media) < offsetof(VNDemuxPacket, iskey), "order of fields");
static_assert(offsetof(VNDemuxPacket, iskey) < offsetof(VNDemuxPacket, user), "order of fields");
static_assert(offsetof(VNDemuxTrack, media) < offsetof(VNDemuxTrack, desc), "order of fields");
static_assert(offsetof(VNDemuxTrack, desc) < offsetof(VNDemuxTrack, user), "order of fields");

}  // namespace
}  // namespace unit
