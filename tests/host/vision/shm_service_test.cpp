// Services of other applications: their partner, their name, and the handles attached to them.
#include "error_lines.h"
#include "kep/entry_points.h"
#include "kep/reflect.h"
#include "message_box.h"
#include "stream_fixture.h"
#include "vornisa_api.h"

namespace kep::host {
namespace {

/** Like the description of the people service, with another element instead of the detector. */
std::string described(int width) {
    return "type=ShmService,index=1,name=humanShmService,partner={type=Application,name=app,layout={"
           "type=Pipeline,name=pl,layout={PvYuvSrcAdv:w=" +
           std::to_string(width) + ",h=360+FrameRateCtrl:fr=5+FakeSink:name=end" + std::to_string(width) +
           ",live=false}}}";
}

class ShmServiceTest : public testing::Test {
  protected:
    /** Makes a service as VNHumanDetect does, which never deletes its own. */
    static base::object* make(int width) {
        base::object* const made = base::Object::New<base::object>(described(width).c_str());
        EXPECT_TRUE(made && made->SetStr("status", "play"));
        return made;
    }
    static int acquire() {
        int id = 0;
        EXPECT_EQ(VNAcquire(VNRES_HUMAN_SHM, &id), VNRES_SUCCEED);
        return id;
    }
    static bool isRunning(int id) {
        int running = 0;
        EXPECT_EQ(VNIsRunning(id, &running), VNRES_SUCCEED);
        return running != 0;
    }
    /** Waits until the partner of a service has received a picture. */
    static bool films(base::object& service) {
        const auto end = Clock::now() + patience;
        std::int64_t count = 0;
        while (Clock::now() < end && count == 0)
            if (!service.Get("count", &count, &typeid(count))) return false;
        return count > 0;
    }
};

TEST_F(ShmServiceTest, StartsAndStopsWithItsPartner) {
    base::object* const service = make(640);
    ASSERT_TRUE(service);
    EXPECT_TRUE(films(*service));
    const int id = acquire();
    MessageBox box;
    static MessageBox* messages = &box;
    EXPECT_EQ(VNRegisterMessageCallback(id, [](const char* text) { messages->put(text); }), VNRES_SUCCEED);
    EXPECT_TRUE(isRunning(id));
    EXPECT_EQ(VNStop(id), VNRES_SUCCEED);
    EXPECT_FALSE(isRunning(id));
    EXPECT_NE(box.waitFor("name=stopped"), "");
    EXPECT_EQ(VNStart(id), VNRES_SUCCEED);
    EXPECT_NE(box.waitFor("name=started"), "");
    EXPECT_EQ(VNRelease(id), VNRES_SUCCEED);
}

TEST_F(ShmServiceTest, SurvivesTheReleaseOfAttachedHandles) {
    base::object* const service = make(640);
    for (int i = 0; i < 3; ++i) {
        const int id = acquire();
        EXPECT_TRUE(isRunning(id));
        EXPECT_EQ(VNRelease(id), VNRES_SUCCEED);
    }
    EXPECT_TRUE(films(*service));
    delete service;
    const int id = acquire();
    EXPECT_FALSE(isRunning(id)) << "still running after its maker deleted it";
    EXPECT_EQ(VNRelease(id), VNRES_SUCCEED);
}

TEST_F(ShmServiceTest, OutlivesItsMakerWhileHandlesAreAttached) {
    base::object* const service = make(640);
    const int id = acquire();
    delete service;
    EXPECT_TRUE(isRunning(id));
    EXPECT_EQ(VNRelease(id), VNRES_SUCCEED);
}

TEST_F(ShmServiceTest, MayBeAttachedToBeforeItIsMade) {
    const int id = acquire();
    EXPECT_FALSE(isRunning(id));
    EXPECT_EQ(VNStart(id), VNRES_SUCCEED) << "a start must succeed without a service";
    base::object* const service = make(640);
    ASSERT_TRUE(service);
    EXPECT_TRUE(films(*service));
    EXPECT_TRUE(isRunning(id));
    EXPECT_EQ(VNRelease(id), VNRES_SUCCEED);
    EXPECT_TRUE(films(*service));
}

TEST_F(ShmServiceTest, MayShareItsNameWithAnother) {
    base::object* const first = make(640);
    const int attached = acquire();
    base::object* const second = make(320);
    ASSERT_TRUE(first && second);
    EXPECT_TRUE(films(*first));
    EXPECT_TRUE(films(*second));
    EXPECT_TRUE(isRunning(attached));
    EXPECT_EQ(VNStop(attached), VNRES_SUCCEED);
    EXPECT_FALSE(isRunning(attached));
    const int newest = acquire();
    EXPECT_TRUE(isRunning(newest));
    EXPECT_EQ(VNRelease(newest), VNRES_SUCCEED);
    EXPECT_EQ(VNRelease(attached), VNRES_SUCCEED);
}

TEST_F(ShmServiceTest, IsRefusedWithItsPartner) {
    const ErrorLines lines;
    EXPECT_FALSE(kepCreate("type=ShmService,index=1,partner={type=Application,layout={type=Nothing}}"));
    EXPECT_EQ(lines.count("unknown class Nothing at position "), 1) << lines.raw();
    EXPECT_FALSE(kepCreate("type=ShmService,partners={type=Application}"));
    EXPECT_EQ(lines.count("ShmService has no property \"partners\""), 1) << lines.raw();
    EXPECT_FALSE(kepCreate("type=ShmService,index=one"));
    EXPECT_FALSE(
        kepCreate("type=ShmService,index=1,partner={type=Application,layout={type=Pipeline,layout={"
                  "PvYuvSrcAdv:w=-1,h=360+FakeSink}}}"));
    EXPECT_EQ(lines.count("size ?x360: width and height must be even numbers from 16 to 8192"), 1)
        << lines.raw();
}

}  // namespace
}  // namespace kep::host
