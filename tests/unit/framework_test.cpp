/** What the framework's headers do themselves, and the order of their operations. */
#include <cstring>

#include "fixture.h"
#include "kep/hash.h"
#include "kep/reflect.h"

namespace unit {
namespace {

TEST(HashTest, IsFnv1a) {
    EXPECT_EQ(kep::Hash(""), 0x811c9dc5u);
    EXPECT_EQ(kep::Hash("a"), 0xe40c292cu);
    EXPECT_EQ(kep::Hash("foobar"), 0xbf9cf968u);
}

TEST(HashTest, OfNoTextIsZero) {
    EXPECT_EQ(kep::Hash(nullptr), 0u);
}

TEST(HashTest, TakesCapitalsForSmallLetters) {
    EXPECT_EQ(kep::Hash("FooBAR"), kep::Hash("foobar"));
    EXPECT_EQ(kep::Hash("AZ"), kep::Hash("az"));
    EXPECT_NE(kep::Hash("@"), kep::Hash("`"));
    EXPECT_NE(kep::Hash("["), kep::Hash("{"));
    EXPECT_NE(kep::Hash("\xc4"), kep::Hash("\xe4"));
}

TEST(HashTest, TakesBytesAboveAsciiAsTheyAre) {
    EXPECT_EQ(kep::Hash("\xff"), (0x811c9dc5u ^ 0xffu) * 16777619u);
}

TEST(FrameTest, IsReleasedOnceByItsLastOwner) {
    int released = 0;
    auto frame = std::make_shared<common::frame_t>();
    frame->release = [&released, raw = frame.get()](common::frame_t* given) { released += given == raw; };
    auto second = frame;
    frame.reset();
    EXPECT_EQ(released, 0);
    second.reset();
    EXPECT_EQ(released, 1);
}

TEST(AttributeTemplateTest, NumbersAndTruthValuesAreWrittenAsText) {
    kep::base::AttrSet set;
    EXPECT_TRUE(set.Add("id", -7));
    EXPECT_TRUE(set.Add("draw", true));
    EXPECT_STREQ(set.Get("id"), "-7");
    EXPECT_STREQ(set.Get("draw"), "true");
    EXPECT_EQ(set.GetOrDef("id", 1), -7);
    EXPECT_EQ(set.GetOrDef("draw", false), true);
    EXPECT_EQ(set.GetOrDef("none", 1), 1);
    EXPECT_STREQ(set.GetOrDef("none", "fallback"), "fallback");
}

class ReflectTest : public PluginTest {
  protected:
    using Object = kep::base::Object;
    using object = kep::base::object;
    const std::string described = "IClass::create(type=KnownThing,name=thing)";

    /** The red line of a refusal. */
    static std::string refusal(const std::string& text) {
        return line(8, red, "framework/kep/reflect.h", "New", text);
    }
};

TEST_F(ReflectTest, CreatesAnObjectOfItsClass) {
    object* const made = Object::New<object>("type=KnownThing,name=thing");
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(happened(), (Events{"Object::NewPreProcessAttrSet()", "IClass::Find(KnownThing)", described,
                                  "IClass::initObject()", "IClass::initAttrSet()"}));
    delete made;
}

TEST_F(ReflectTest, AsksForAClassThatIsYetToBeLoaded) {
    object* const made = Object::New<object>("type=Later");
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(happened(),
              (Events{"Object::NewPreProcessAttrSet()", "IClass::Find(Later)", "IClass::FindBeforeNew(Later)",
                      "IClass::create(type=Later)", "IClass::initObject()", "IClass::initAttrSet()"}));
    delete made;
}

TEST_F(ReflectTest, AnUnknownClassMakesNothing) {
    script.refuse("IClass::FindBeforeNew");
    EXPECT_EQ(Object::New<object>("type=Unknown"), nullptr);
    EXPECT_EQ(happened(), (Events{"Object::NewPreProcessAttrSet()", "IClass::Find(Unknown)",
                                  "IClass::FindBeforeNew(Unknown)"}));
}

TEST_F(ReflectTest, ADescriptionWithoutATypeIsRefused) {
    EXPECT_EQ(Object::New<object>("name=thing"), nullptr);
    EXPECT_EQ(happened(), (Events{"Object::NewPreProcessAttrSet()", refusal("!type")}));
}

TEST_F(ReflectTest, ADescriptionThatCannotBePreparedIsRefused) {
    script.refuse("Object::NewPreProcessAttrSet");
    EXPECT_EQ(Object::New<object>("type=KnownThing"), nullptr);
    EXPECT_EQ(happened(), (Events{"Object::NewPreProcessAttrSet()", refusal("!NewPreProcessAttrSet(ap)")}));
}

TEST_F(ReflectTest, AnObjectOfTheWrongKindIsNoneAndIsDestroyed) {
    script.offer(new Stream<>);
    EXPECT_EQ(Object::New<object>("type=KnownThing,name=thing"), nullptr);
    EXPECT_EQ(happened(), (Events{"Object::NewPreProcessAttrSet()", "IClass::Find(KnownThing)", described,
                                  "delete stream"}));
}

class InitTest : public ReflectTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(InitTest, AnObjectThatCannotBeSetUpIsNone) {
    script.refuse(GetParam());
    EXPECT_EQ(Object::New<object>("type=KnownThing,name=thing"), nullptr);
    EXPECT_EQ(script.liveObjects(), 0);
}

INSTANTIATE_TEST_SUITE_P(Steps, InitTest,
                         ::testing::Values("IClass::create", "IClass::initObject", "IClass::initAttrSet"),
                         [](const auto& test) { return std::string(test.param).substr(8); });

/** The place of a virtual function in its class's table. */
template <class Member>
std::ptrdiff_t slot(Member member) {
    struct {
        std::ptrdiff_t function;
        std::ptrdiff_t adjustment;
    } parts;
    static_assert(sizeof parts == sizeof member, "a pointer to a member function is two words");
    std::memcpy(&parts, &member, sizeof parts);
    return parts.function / static_cast<std::ptrdiff_t>(sizeof(void*));
}

template <class First>
bool inOrder(First) {
    return true;
}

template <class First, class Second, class... Rest>
bool inOrder(First first, Second second, Rest... rest) {
    return slot(second) == slot(first) + 1 && inOrder(second, rest...);
}

TEST(SlotTest, OperationsAreInTheFrameworksOrder) {
    using namespace kep::api::streaming::common;
    using kep::base::IParam;
    using Out = kep::base::ostream;
    EXPECT_TRUE(inOrder(&IStreamControl::ChangeUp, &IStreamControl::ChangeDown,
                        &IStreamControl::RegisterMessageCallback));
    EXPECT_TRUE(inOrder(&IStreamOutput::IsSupportedPullFrame, &IStreamOutput::PullFrame));
    EXPECT_TRUE(inOrder(&IStreamInput::IsSupportedPushFrame, &IStreamInput::PushFrame));
    EXPECT_TRUE(inOrder(&IVideo::SetWidth, &IVideo::SetHeight));
    EXPECT_TRUE(inOrder(&IH264::SetGop, &IH264::RequestKeyFrame));
    EXPECT_TRUE(inOrder(&IAudio::SetSampleRate, &IAudio::SetChannels));
    EXPECT_TRUE(inOrder(&kep::base::IAttributes::toString, &kep::base::IAttributes::fromString));
    EXPECT_TRUE(
        inOrder(&IParam::Set, &IParam::Get, &IParam::SetStr, &IParam::SetWithType, &IParam::GetWithType));
    EXPECT_TRUE(inOrder(static_cast<Out& (Out::*)(char)>(&Out::operator<<),
                        static_cast<Out& (Out::*)(int)>(&Out::operator<<),
                        static_cast<Out& (Out::*)(std::int64_t)>(&Out::operator<<),
                        static_cast<Out& (Out::*)(const void*)>(&Out::operator<<),
                        static_cast<Out& (Out::*)(const char*)>(&Out::operator<<)));
    EXPECT_EQ(slot(static_cast<Out& (Out::*)(char)>(&Out::operator<<)), 0);
}

TEST(FrameLayoutTest, FieldsAreInTheFrameworksOrder) {
    const common::frame_t frame;
    const auto at = [&frame](const void* field) {
        return static_cast<const char*>(field) - reinterpret_cast<const char*>(&frame);
    };
    EXPECT_EQ(at(&frame.index), 0);
    EXPECT_EQ(at(&frame.data), static_cast<std::ptrdiff_t>(sizeof(void*)));
    EXPECT_EQ(at(&frame.size), static_cast<std::ptrdiff_t>(2 * sizeof(void*)));
    EXPECT_EQ(at(&frame.key), at(&frame.size) + 4);
    EXPECT_EQ(sizeof frame.key, 1u);
    EXPECT_EQ(at(&frame.stamp), at(&frame.key) + 4);
    EXPECT_EQ(sizeof frame.stamp, 8u);
    EXPECT_EQ(at(&frame.release), at(&frame.stamp) + 8);
}

}  // namespace
}  // namespace unit
