#include <climits>

#include "fixture.h"
#include "fresh_process.h"
#include "never_acquired.h"
#include "properties.h"

namespace unit {
namespace {

std::string refused(const std::string& function, const std::string& text) {
    return line(8, red, "api/vornisa_aac.cpp", function, text);
}

class AacCodecSetTest : public PluginTest {
  protected:
    AacCodecSetTest() : codec(new PropertyObject("codec")), id(handleOf(codec)) {}

    PropertyObject* codec;
    int id;
};

const Events allSettings = {"codec.SetWithType rate(int64 48000,integers)",
                            "codec.SetWithType ch(int64 2,integers)", "codec.Set adts(bool 1)",
                            "codec.SetWithType br(int64 64000,integers)",
                            "codec.SetWithType bw(int64 20000,integers)"};

TEST_F(AacCodecSetTest, SetsFivePropertiesInOrder) {
    EXPECT_EQ(VNAacCodecSet(id, 48000, 2, 1, 64000, 20000), VNRES_SUCCEED);
    EXPECT_EQ(happened(), allSettings);
}

TEST_F(AacCodecSetTest, ForwardsAnyValue) {
    EXPECT_EQ(VNAacCodecSet(id, -1, 0, 0, INT_MIN, INT_MAX), VNRES_SUCCEED);
    EXPECT_EQ(happened(),
              (Events{"codec.SetWithType rate(int64 -1,integers)", "codec.SetWithType ch(int64 0,integers)",
                      "codec.Set adts(bool 0)", "codec.SetWithType br(int64 -2147483648,integers)",
                      "codec.SetWithType bw(int64 2147483647,integers)"}));
}

TEST_F(AacCodecSetTest, AnyNonZeroAdtsIsTrue) {
    for (const int hasAdts : {2, -1, 256, INT_MIN}) {
        EXPECT_EQ(VNAacCodecSet(id, 48000, 2, hasAdts, 64000, 20000), VNRES_SUCCEED);
        EXPECT_EQ(happened(), allSettings) << hasAdts;
    }
}

struct Refusal {
    const char* step;
    const char* text;
};

class AacCodecRefusalTest : public AacCodecSetTest, public ::testing::WithParamInterface<int> {};

constexpr Refusal refusals[] = {{"codec.SetWithType rate", "!codec->Set(\"rate\",rate)"},
                                {"codec.SetWithType ch", "!codec->Set(\"ch\",ch)"},
                                {"codec.Set adts", "!codec->Set(\"adts\",(bool)hasAdts)"},
                                {"codec.SetWithType br", "!codec->Set(\"br\",bitrate)"},
                                {"codec.SetWithType bw", "!codec->Set(\"bw\",bandWidth)"}};

TEST_P(AacCodecRefusalTest, StopsAtTheFirstRefusalAndLeavesWhatWasSet) {
    const int at = GetParam();
    script.refuse(refusals[at].step);
    EXPECT_EQ(VNAacCodecSet(id, 48000, 2, 1, 64000, 20000), VNRES_INVALID_ARG);
    Events expected(allSettings.begin(), allSettings.begin() + at + 1);
    expected.push_back(refused("VNAacCodecSet", refusals[at].text));
    EXPECT_EQ(happened(), expected);
}

INSTANTIATE_TEST_SUITE_P(Settings, AacCodecRefusalTest, ::testing::Range(0, 5));

TEST_F(AacCodecSetTest, RefusesHandleZero) {
    EXPECT_EQ(VNAacCodecSet(0, 48000, 2, 1, 64000, 20000), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), Events{refused("VNAacCodecSet", "!id")});
}

TEST_F(AacCodecSetTest, RefusesAStream) {
    const int stream = handleOf(new Stream<OutputPart>);
    EXPECT_EQ(VNAacCodecSet(stream, 48000, 2, 1, 64000, 20000), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), Events{refused("VNAacCodecSet", "!codec")});
}

TEST_F(AacCodecSetTest, AnExceptionOfTheCodecIsLogged) {
    script.throwAt("codec.SetWithType rate");
    EXPECT_EQ(VNAacCodecSet(id, 48000, 2, 1, 64000, 20000), VNRES_FAIL);
    EXPECT_EQ(happened(), (Events{allSettings[0], refused("VNAacCodecSet", "exception:std::bad_alloc")}));
}

/** Encoding or decoding, whose functions behave alike. */
struct Direction {
    const char* name;
    int (*call)(int id, const void* in, int in_len, int* consumed, void* out, int out_len);
    const char* key;
    const char* notPublished;
    const char* publishedAsNull;
};

const Direction directions[] = {
    {"VNAacEncode", VNAacEncode, "funcEncodeStatic", "!obj0->Get(\"funcEncodeStatic\",_enc)", "!_enc"},
    {"VNAacDecode", VNAacDecode, "funcDecodeStatic", "!obj0->Get(\"funcDecodeStatic\",_dec)", "!_dec"}};

/** The arguments of the last call of a codec's function. */
struct Exchange {
    kep::object_base* codec;
    const void* in;
    int in_len;
    void* out;
    int out_len;
};
Exchange given;
// The lengths that the codec's functions return.
int used = 2048;
int made = 371;

template <int which>
bool convert(kep::object_base* codec, const void* in, int& in_len, void* out, int& out_len) {
    given = {codec, in, in_len, out, out_len};
    in_len = used;
    out_len = made;
    return step("convert", std::to_string(which));
}

/**
 * The plug-in keeps the functions that it has looked up, so every test that reaches the look-up runs in a
 * process of its own.
 */
class AacBlockTest : public PluginTest, public ::testing::WithParamInterface<int> {
  protected:
    /** A codec that publishes both functions. */
    int newCodec(PropertyObject*& codec) {
        codec = new PropertyObject("codec");
        codec->codecFunctions["funcEncodeStatic"] = convert<0>;
        codec->codecFunctions["funcDecodeStatic"] = convert<1>;
        return handleOf(codec);
    }

    int call(int id) { return direction.call(id, in, sizeof in, &consumed, out, sizeof out); }

    std::string get() { return std::string("codec.Get ") + direction.key + "(codec function)"; }
    std::string converted() { return "convert(" + std::to_string(GetParam()) + ")"; }
    std::string refusal(const std::string& text) { return refused(direction.name, text); }

    const Direction& direction = directions[GetParam()];
    char in[4096];
    char out[768];
    int consumed = 17;
};

TEST_P(AacBlockTest, LooksTheFunctionUpAndCallsIt) {
    inFreshProcess([this] {
        PropertyObject* codec = nullptr;
        const int id = newCodec(codec);
        EXPECT_EQ(call(id), 371);
        EXPECT_EQ(consumed, 2048);
        EXPECT_EQ(happened(), (Events{get(), converted()}));
        EXPECT_EQ(given.codec, codec);
        EXPECT_EQ(given.in, in);
        EXPECT_EQ(given.in_len, 4096);
        EXPECT_EQ(given.out, out);
        EXPECT_EQ(given.out_len, 768);
    });
}

TEST_P(AacBlockTest, AcceptsANullConsumed) {
    inFreshProcess([this] {
        PropertyObject* codec = nullptr;
        EXPECT_EQ(direction.call(newCodec(codec), in, 1, nullptr, out, 1), 371);
    });
}

TEST_P(AacBlockTest, AnEmptyOutputIsASuccess) {
    inFreshProcess([this] {
        PropertyObject* codec = nullptr;
        const int id = newCodec(codec);
        used = 0;
        made = 0;
        EXPECT_EQ(call(id), 0);
        EXPECT_EQ(consumed, 0);
    });
}

TEST_P(AacBlockTest, ForwardsBlocksUnchecked) {
    inFreshProcess([this] {
        PropertyObject* codec = nullptr;
        EXPECT_EQ(direction.call(newCodec(codec), nullptr, -1, &consumed, nullptr, INT_MIN), 371);
        EXPECT_EQ(given.in, nullptr);
        EXPECT_EQ(given.in_len, -1);
        EXPECT_EQ(given.out, nullptr);
        EXPECT_EQ(given.out_len, INT_MIN);
    });
}

TEST_P(AacBlockTest, IsUnsupportedWhenTheCodecFails) {
    inFreshProcess([this] {
        PropertyObject* codec = nullptr;
        const int id = newCodec(codec);
        script.refuse("convert");
        EXPECT_EQ(call(id), VNRES_UNSUPPORTED);
        EXPECT_EQ(consumed, 17);
        EXPECT_EQ(happened(), (Events{get(), converted(), refusal("!rst")}));
    });
}

TEST_P(AacBlockTest, OneLookUpServesAllCodecs) {
    inFreshProcess([this] {
        PropertyObject* codec = nullptr;
        PropertyObject* other = nullptr;
        const int id = newCodec(codec);
        const int otherId = newCodec(other);
        EXPECT_EQ(call(id), 371);
        EXPECT_EQ(happened(), (Events{get(), converted()}));
        other->codecFunctions.clear();
        EXPECT_EQ(call(otherId), 371);
        EXPECT_EQ(given.codec, other);
        EXPECT_EQ(call(id), 371);
        EXPECT_EQ(given.codec, codec);
        EXPECT_EQ(happened(), (Events{converted(), converted()}));
    });
}

TEST_P(AacBlockTest, AfterTheLookUpTheKindOfAHandleIsNotChecked) {
    inFreshProcess([this] {
        PropertyObject* codec = nullptr;
        EXPECT_EQ(call(newCodec(codec)), 371);
        auto* const stream = new Stream<OutputPart>;
        const int id = handleOf(stream);
        EXPECT_EQ(call(id), 371);
        EXPECT_EQ(given.codec, static_cast<kep::object_base*>(stream));
        EXPECT_EQ(happened(), Events{converted()});
    });
}

TEST_P(AacBlockTest, TheDirectionsAreLookedUpSeparately) {
    inFreshProcess([this] {
        PropertyObject* codec = nullptr;
        const int id = newCodec(codec);
        const Direction& opposite = directions[1 - GetParam()];
        EXPECT_EQ(opposite.call(id, in, 1, nullptr, out, 1), 371);
        happened();
        EXPECT_EQ(call(id), 371);
        EXPECT_EQ(happened(), (Events{get(), converted()}));
    });
}

TEST_P(AacBlockTest, RefusesHandleZero) {
    EXPECT_EQ(call(0), VNRES_INVALID_ARG);
    EXPECT_EQ(consumed, 17);
    EXPECT_EQ(happened(), Events{refusal("!id")});
}

TEST_P(AacBlockTest, RefusesAStreamBeforeTheLookUp) {
    EXPECT_EQ(call(handleOf(new Stream<OutputPart>)), VNRES_INVALID_ARG);
    EXPECT_EQ(consumed, 17);
    EXPECT_EQ(happened(), Events{refusal("!obj0")});
}

TEST_P(AacBlockTest, AnObjectWithoutTheFunctionIsRefusedAndTheNextOneIsAsked) {
    inFreshProcess([this] {
        auto* const none = new PropertyObject("none");
        EXPECT_EQ(call(handleOf(none)), VNRES_INVALID_ARG);
        EXPECT_EQ(consumed, 17);
        EXPECT_EQ(happened(), (Events{std::string("none.Get ") + direction.key + "(codec function)",
                                      refusal(direction.notPublished)}));
        PropertyObject* codec = nullptr;
        const int id = newCodec(codec);
        EXPECT_EQ(call(id), 371);
        EXPECT_EQ(call(id), 371);
        EXPECT_EQ(happened(), (Events{get(), converted(), converted()}));
    });
}

TEST_P(AacBlockTest, AFunctionPublishedAsNullIsRefusedAndTheNextCallAsksAgain) {
    inFreshProcess([this] {
        PropertyObject* codec = nullptr;
        const int id = newCodec(codec);
        codec->codecFunctions[direction.key] = nullptr;
        EXPECT_EQ(call(id), VNRES_INVALID_ARG);
        EXPECT_EQ(consumed, 17);
        EXPECT_EQ(happened(), (Events{get(), refusal(direction.publishedAsNull)}));
        codec->codecFunctions[direction.key] = convert<2>;
        EXPECT_EQ(call(id), 371);
        EXPECT_EQ(happened(), (Events{get(), "convert(2)"}));
    });
}

TEST_P(AacBlockTest, AnExceptionOfTheCodecIsLogged) {
    inFreshProcess([this] {
        PropertyObject* codec = nullptr;
        const int id = newCodec(codec);
        script.throwAt("convert");
        EXPECT_EQ(call(id), VNRES_FAIL);
        EXPECT_EQ(consumed, 17);
        EXPECT_EQ(happened(), (Events{get(), converted(), refusal("exception:std::bad_alloc")}));
    });
}

#if UINTPTR_MAX > UINT_MAX

TEST_P(AacBlockTest, OnAWorkstationAHandleThatIsNotLiveHasNoFunction) {
    EXPECT_EQ(call(madeUpHandle), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), Events{refusal("!obj0")});
}

TEST_P(AacBlockTest, OnAWorkstationAHandleThatIsNotLiveDoesNotReachTheCodec) {
    inFreshProcess([this] {
        PropertyObject* codec = nullptr;
        EXPECT_EQ(call(newCodec(codec)), 371);
        happened();
        EXPECT_EQ(call(madeUpHandle), VNRES_INVALID_ARG);
        EXPECT_EQ(happened(), Events{refusal("!obj0")});
    });
}

#endif

INSTANTIATE_TEST_SUITE_P(Directions, AacBlockTest, ::testing::Range(0, 2),
                         [](const auto& test) { return std::string(test.param == 0 ? "Encode" : "Decode"); });

}  // namespace
}  // namespace unit
