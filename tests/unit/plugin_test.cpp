#include "fixture.h"
#include "vornisa_resolution.h"

extern "C" {
void RegisterPluginVornisaApi(const char* text);
extern int __cb_register_PluginVornisaApi;
}

namespace unit {
namespace {

/** The events from before the first test. */
Events& beforeTests() {
    static Events events = Script::instance().takeEvents();
    return events;
}

struct Before : ::testing::Environment {
    void SetUp() override { beforeTests(); }
};

::testing::Environment* const before = ::testing::AddGlobalTestEnvironment(new Before);

TEST(RegistrationTest, HappensOnceAtLoadTimeWithNamePriorityAndVersion) {
    EXPECT_EQ(beforeTests(),
              Events{"ReflectAdd(9999,PluginVornisaApi,vornisa/pluginvornisaapi@version:1.1.1.6885)"});
    EXPECT_EQ(__cb_register_PluginVornisaApi, 4242);
    EXPECT_EQ(registeredCallback(), &RegisterPluginVornisaApi);
}

using CallbackTest = PluginTest;

TEST_F(CallbackTest, OfTheRegistrationDoesNothing) {
    RegisterPluginVornisaApi("any text");
    RegisterPluginVornisaApi("");
    RegisterPluginVornisaApi(nullptr);
    EXPECT_EQ(happened(), Events{});
}

TEST(ResolutionTableTest, HasThreeSizesByTheirPixelCount) {
    const auto& table = vornisa::resolutions;
    ASSERT_EQ(table.size(), 3u);
    for (const auto& size : {vornisa::resolution_t{1920, 1080}, {1280, 720}, {640, 360}}) {
        const auto row = table.find(size.width * size.height);
        ASSERT_NE(row, table.end()) << size.width;
        EXPECT_EQ(row->second.width, size.width);
        EXPECT_EQ(row->second.height, size.height);
    }
    EXPECT_EQ(table.find(640 * 480), table.end());
}

}  // namespace
}  // namespace unit
