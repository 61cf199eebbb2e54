/** Detection of people: the description, its creation and its start. */
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "fixture.h"

namespace unit {
namespace {

const char file[] = "api/vornisa_humanDetect.cpp";

std::string shown(const std::string& text) {
    return line(29, "\033[36m", file, "VNHumanDetect", text);
}

std::string refused(const std::string& text) {
    return line(8, red, file, "VNHumanDetect", text);
}

const char description[] =
    "type=ShmService,index=1,name=humanShmService,partner={type=Application,name=app-humandetect,"
    "layout={type=Pipeline,name=pl-human-detect,layout={PvYuvSrcAdv:w=640,h=360+FrameRateCtrl:fr=5+"
    "HumanDetect:name=humandetection+FakeSink:live=false}}}";

class HumanDetectTest : public PluginTest {
  protected:
    HumanDetectTest() { script.offer(object_.get()); }

    /** All lines and calls up to the creation by the class. */
    Events upToCreation() {
        return {shown("width=640"),
                shown("height=360"),
                shown("fps=5"),
                shown(description),
                "Object::NewPreProcessAttrSet()",
                "IClass::Find(ShmService)",
                "IClass::FindBeforeNew(ShmService)",
                std::string("IClass::create(") + description + ")",
                "IClass::initObject()",
                "IClass::initAttrSet()"};
    }

    std::unique_ptr<PlainObject> object_{new PlainObject};
};

// The framework owns the service from then on: there is neither a handle nor a destruction.
TEST_F(HumanDetectTest, CreatesTheServiceAndStartsIt) {
    EXPECT_EQ(VNHumanDetect(640, 360, 5), VNRES_SUCCEED);
    Events events = upToCreation();
    events.push_back("IParam::SetStr('status','play')");
    EXPECT_EQ(happened(), events);
}

TEST_F(HumanDetectTest, ASecondCallStartsAnotherOne) {
    EXPECT_EQ(VNHumanDetect(640, 360, 5), VNRES_SUCCEED);
    const Events first = happened();
    PlainObject second;
    script.offer(&second);
    EXPECT_EQ(VNHumanDetect(640, 360, 5), VNRES_SUCCEED);
    EXPECT_EQ(happened(), first);
}

TEST_F(HumanDetectTest, ZeroIsAnInvalidArgument) {
    EXPECT_EQ(VNHumanDetect(0, 0, 0), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), (Events{refused("!width")}));
    EXPECT_EQ(VNHumanDetect(640, 0, 0), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), (Events{refused("!height")}));
    EXPECT_EQ(VNHumanDetect(640, 360, 0), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), (Events{refused("!fps")}));
}

TEST_F(HumanDetectTest, NegativeValuesAreForwarded) {
    EXPECT_EQ(VNHumanDetect(-1, std::numeric_limits<int>::min(), -5), VNRES_SUCCEED);
    const Events events = happened();
    ASSERT_EQ(events.size(), 11u);
    EXPECT_EQ(events[0], shown("width=-1"));
    EXPECT_EQ(events[1], shown("height=-2147483648"));
    EXPECT_EQ(events[2], shown("fps=-5"));
    EXPECT_NE(events[3].find("layout={PvYuvSrcAdv:w=-1,h=-2147483648+FrameRateCtrl:fr=-5+HumanDetect:"),
              std::string::npos);
}

TEST_F(HumanDetectTest, FailsWhenTheClassRefusesTheDescription) {
    script.refuse("IClass::initAttrSet");
    object_.release();  // which the class deletes
    EXPECT_EQ(VNHumanDetect(640, 360, 5), VNRES_FAIL);
    Events events = upToCreation();
    events.push_back("delete object");
    events.push_back(refused("!obj"));
    EXPECT_EQ(happened(), events);
}

TEST_F(HumanDetectTest, FailsWithoutTheClass) {
    script.refuse("IClass::FindBeforeNew");
    EXPECT_EQ(VNHumanDetect(640, 360, 5), VNRES_FAIL);
    Events events = upToCreation();
    events.resize(7);
    events.push_back(refused("!obj"));
    EXPECT_EQ(happened(), events);
}

TEST_F(HumanDetectTest, AServiceThatDoesNotStartIsNotDestroyed) {
    script.refuse("IParam::SetStr");
    EXPECT_EQ(VNHumanDetect(640, 360, 5), VNRES_FAIL);
    Events events = upToCreation();
    events.push_back("IParam::SetStr('status','play')");
    events.push_back(refused("!obj->Set(\"status\",\"play\")"));
    EXPECT_EQ(happened(), events);
}

TEST_F(HumanDetectTest, AnExceptionIsLogged) {
    script.throwAt("IClass::create");
    EXPECT_EQ(VNHumanDetect(640, 360, 5), VNRES_FAIL);
    EXPECT_EQ(happened().back(), refused("exception:std::bad_alloc"));
}

}  // namespace
}  // namespace unit
