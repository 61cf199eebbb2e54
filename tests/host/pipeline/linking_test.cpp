#include "kep/entry_points.h"
#include "kep/reflect.h"
#include "pipeline_fixture.h"

namespace kep::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const SteadyTime origin = Clock::now();

TEST(Linking, FollowsTheTextInEitherFormAndAnyCase) {
    for (const char* text :
         {"type=Pipeline,layout={TestSource:name=a+TestWitness+TestSink:name=z}",
          "type=pipeline,serialize={test-source:name=a+TestWitness+testsink:name=z}",
          "type=application,layout={type=PIPELINE,layout={TestSource:name=a+TestWitness+TestSink:name=z}}"}) {
        Described chain(text);
        ASSERT_TRUE(chain) << text;
        ASSERT_TRUE(chain.play());
        for (int i = 0; i < 3; ++i) chain.child<TestSource>("a").push(videoPacket(origin, true));
        EXPECT_EQ(chain.child<TestSink>("z").packets().size(), 3U) << text;
    }
}

TEST(Linking, NamesOneFeederOrSeveralOrNone) {
    Described chain(
        "type=pipeline,layout={TestSource:name=a+TestSource:name=b,link=null+TestSink:name=x,link=A"
        "+TestSink:name=y,link={a,b}+TestSink:name=z,link=null}");
    ASSERT_TRUE(chain);
    ASSERT_TRUE(chain.play());
    chain.child<TestSource>("a").push(videoPacket(origin, true));
    chain.child<TestSource>("b").push(videoPacket(origin, true));
    EXPECT_EQ(chain.child<TestSink>("x").packets().size(), 1U);
    EXPECT_EQ(chain.child<TestSink>("y").packets().size(), 2U);
    EXPECT_THAT(chain.child<TestSink>("z").packets(), IsEmpty());
}

TEST(Linking, AnElementTakesTheMediaOfItsCapsAlone) {
    Described chain(
        "type=pipeline,layout={TestSource:name=a+TestSink:name=v,caps=video+TestSink:name=s,caps=audio,link="
        "a}");
    ASSERT_TRUE(chain);
    ASSERT_TRUE(chain.play());
    chain.child<TestSource>("a").push(videoPacket(origin, true));
    chain.child<TestSource>("a").push(audioPacket(origin));
    chain.child<TestSource>("a").push(audioPacket(origin));
    EXPECT_EQ(chain.child<TestSink>("v").packets().size(), 1U);
    EXPECT_EQ(chain.child<TestSink>("s").packets().size(), 2U);
}

TEST(Linking, IsRefusedWithOneLineNamingErrorAndPosition) {
    EXPECT_THAT(
        refusalOf("type=pipeline,layout={TestSource:name=a+TestSink:name=z,link=nix}"),
        HasSubstr("there is no element \"nix\" before TestSink \"z\" to link it with at position 41 of"));
    EXPECT_THAT(refusalOf("type=pipeline,layout={TestSink:name=z,link=late+TestSource:name=late,link=null}"),
                HasSubstr("there is no element \"late\" before TestSink \"z\""));
    EXPECT_THAT(refusalOf("type=pipeline,layout={TestSource:name=a+Nonsense:name=z}"),
                HasSubstr("unknown class Nonsense at position 41 of"));
    EXPECT_THAT(
        refusalOf("type=pipeline,layout={TestSource:name=a+TestSource:name=b}"),
        HasSubstr("TestSource \"b\" is a source and cannot be linked after TestSource \"a\" at position 41"));
    EXPECT_THAT(refusalOf("type=pipeline,layout={TestSource:name=a+Pipeline:name=p}"),
                HasSubstr("Pipeline \"p\" is not a pipeline element at position 41"));
    EXPECT_THAT(refusalOf("type=pipeline,layout={TestSource:name=a+TestSink:link={a,}}"),
                HasSubstr("a list entry is missing"));
    EXPECT_THAT(refusalOf("type=pipeline,layout={TestSource:name=a+encoder-nix:gop=15}"),
                HasSubstr("unknown class encoder-nix at position 41"));
    EXPECT_THAT(refusalOf("type=pipeline,layout={TestSource:name=a+TestSink:caps=smell}"),
                HasSubstr("caps=smell is neither video nor audio"));
    EXPECT_THAT(refusalOf("type=pipeline,past=-1,layout={TestSource:name=a}"), HasSubstr("past=-1"));
}

TEST(Linking, PositionsAreThoseOfTheWrongPart) {
    // The wrong text also occurs in correct parts: the position must not be one of those.
    EXPECT_EQ(
        refusalOf("type=pipeline,layout={TestSource:name=x+muxer-fmp4:name={x},sendmsg={recordStop={x}}}"),
        "'=' is missing after \"x\" at position 83 of "
        "\"...TestSource:name=x+muxer-fmp4:name={x},sendmsg={recordStop={x}}}\"");
    EXPECT_EQ(refusalOf("type=pipeline,name={TestSink+No},layout={TestSink+No}"),
              "unknown class No at position 51 of \"type=pipeline,name={TestSink+No},layout={TestSink+No}\"");
    const ErrorLines lines;
    EXPECT_EQ(kepCreateApp("type=pipeline,serialize={TestSource+Nonsense:name=z}"), nullptr);
    base::AttrSet apart("type=pipeline,layout={TestSource+Nonsense:name=z}");
    EXPECT_EQ(base::Object::New<ObjectImpl>(apart), nullptr);
    EXPECT_THAT(lines.messages(),
                ElementsAre("unknown class Nonsense at position 37 of "
                            "\"type=pipeline,serialize={TestSource+Nonsense:name=z}\"",
                            "unknown class Nonsense at position 12 of \"TestSource+Nonsense:name=z\""));
}

TEST(Linking, GoesUpFromTheEndAndDownFromTheStart) {
    Described chain("type=pipeline,layout={TestWitness:name=a+TestWitness:name=b}");
    ASSERT_TRUE(chain);
    TestWitness::events.clear();
    ASSERT_TRUE(chain.play());
    ASSERT_TRUE(chain.stop());
    EXPECT_THAT(TestWitness::events,
                ElementsAre("b up to ready", "a up to ready", "b up to play", "a up to play",
                            "a down to ready", "b down to ready", "a down to null", "b down to null"));
}

TEST(Linking, ARefusedLayoutLeavesTheOldOneRunning) {
    Described app("type=application,layout={type=pipeline,layout={TestSource:name=a+TestSink:name=z}}");
    ASSERT_TRUE(app);
    ASSERT_TRUE(app.play());
    const ErrorLines lines;
    base::AttrSet refused("layout={type=pipeline,layout={TestSource:name=a+TestSink:link=no}}");
    EXPECT_FALSE(app->Configure(refused));
    EXPECT_EQ(lines.messages().size(), 1U);
    EXPECT_TRUE(app->StatusIsPlay());
    app.child<TestSource>("a").push(videoPacket(origin, true));
    EXPECT_EQ(app.child<TestSink>("z").packets().size(), 1U);
}

TEST(Linking, ANewLayoutTakesThePlaceOfTheOldOne) {
    Described chain("type=pipeline,layout={TestSource:name=a+TestSink:name=z}");
    ASSERT_TRUE(chain);
    ASSERT_TRUE(chain.play());
    base::AttrSet layout("layout={TestSource:name=b+TestSink:name=y}");
    ASSERT_TRUE(chain->Configure(layout));
    EXPECT_EQ(chain->findChild("a", true), nullptr);
    ASSERT_TRUE(chain.play());
    chain.child<TestSource>("b").push(videoPacket(origin, true));
    EXPECT_EQ(chain.child<TestSink>("y").packets().size(), 1U);
}

std::atomic<int> told{0};

int noteLost(const char* message) {
    if (std::string(message).starts_with("name=frameLost,")) ++told;
    return 1;
}

TEST(Linking, APipelineAloneBecomesAnApplicationOfTheFlatApi) {
    told = 0;
    object_base* const app =
        kepCreateApp("type=pipeline,serialize={TestSource:name=a+FifoFilter:leaky=true+TestSink:name=z}");
    ASSERT_NE(app, nullptr);
    ASSERT_TRUE(kepRegisterMessageProcess(app, noteLost));
    ASSERT_TRUE(kepStatusUp(app, "play"));
    auto& source = dynamic_cast<TestSource&>(*dynamic_cast<ObjectImpl*>(app)->findChild("a", true));
    source.push(videoPacket(origin, false));
    EXPECT_TRUE(waitUntil([] { return told == 1; }));
    EXPECT_TRUE(kepStatusDown(app, "null"));
    EXPECT_TRUE(kepDestroy(app));
}

}  // namespace
}  // namespace kep::host
