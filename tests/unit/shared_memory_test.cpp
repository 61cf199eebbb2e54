/** The template of shared records, which is compiled into the plug-in. */
#include "kep/shared_memory.h"

#include <typeinfo>

#include "fixture.h"
#include "kep/attr_set.h"
#include "objects.h"

namespace unit {
namespace {

struct Record {
    int number;
    char text[12];
};

class SharedMemoryTest : public PluginTest {
  protected:
    kep::stream::TSharedMemory<Record> memory_{3};
};

TEST_F(SharedMemoryTest, HasRoomForAllItsRecords) {
    EXPECT_EQ(happened(), Events{"ISharedMemory(48)"});
}

TEST_F(SharedMemoryTest, RefusesEveryOperationOfAnObject) {
    kep::base::object& object = memory_;
    std::string text = "before";
    object.toString(text);
    EXPECT_EQ(text, "");
    int value = 5;
    kep::base::AttrSet set("a=1");
    TextMessage message("name=a");
    const auto any = [](const std::type_info&) { return true; };
    EXPECT_FALSE(object.fromString("a=1"));
    EXPECT_FALSE(object.Set("a", &value, &typeid(int)));
    EXPECT_FALSE(object.Get("a", &value, &typeid(int)));
    EXPECT_FALSE(object.SetStr("a", "1"));
    EXPECT_FALSE(object.SetWithType("a", &value, &typeid(int), any));
    EXPECT_FALSE(object.GetWithType("a", &value, &typeid(int), any));
    EXPECT_FALSE(object.Enable(true));
    EXPECT_FALSE(object.Configure(set));
    EXPECT_FALSE(object.addChild(&object));
    EXPECT_FALSE(object.fromAttrSet(set));
    EXPECT_FALSE(object.toAttrSet(set));
    EXPECT_FALSE(object.sendMessage(message));
    EXPECT_FALSE(object.receiveMessage(message));
    EXPECT_EQ(object.NameId(), 0u);
    EXPECT_EQ(object.FindChild([](const kep::base::object&) { return true; }, true), nullptr);
    EXPECT_EQ(value, 5);
}

}  // namespace
}  // namespace unit
