/** The inline code of the framework's headers that creates objects. */
#include "fixture.h"
#include "kep/reflect.h"

namespace unit {
namespace {

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

TEST_F(ReflectTest, LooksForAClassThatIsYetToBeLoaded) {
    object* const made = Object::New<object>("type=Later");
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(happened(),
              (Events{"Object::NewPreProcessAttrSet()", "IClass::Find(Later)", "IClass::FindBeforeNew(Later)",
                      "IClass::create(type=Later)", "IClass::initObject()", "IClass::initAttrSet()"}));
    delete made;
}

TEST_F(ReflectTest, AnUnknownClassCreatesNothing) {
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

TEST_F(ReflectTest, AnObjectOfTheWrongKindIsDestroyed) {
    script.offer(new Stream<>);
    EXPECT_EQ(Object::New<object>("type=KnownThing,name=thing"), nullptr);
    EXPECT_EQ(happened(), (Events{"Object::NewPreProcessAttrSet()", "IClass::Find(KnownThing)", described,
                                  "delete stream"}));
}

class InitTest : public ReflectTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(InitTest, AFailedStepGivesNoObject) {
    script.refuse(GetParam());
    EXPECT_EQ(Object::New<object>("type=KnownThing,name=thing"), nullptr);
    EXPECT_EQ(script.liveObjects(), 0);
}

INSTANTIATE_TEST_SUITE_P(Steps, InitTest,
                         ::testing::Values("IClass::create", "IClass::initObject", "IClass::initAttrSet"),
                         [](const auto& test) { return std::string(test.param).substr(8); });

}  // namespace
}  // namespace unit
