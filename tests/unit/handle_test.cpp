#include <set>

#include "fixture.h"
#include "vornisa_handle.h"
#include "vornisa_output.h"

namespace unit {
namespace {

using HandleTest = PluginTest;

/** A function that takes a handle, and its result for a handle without an object. */
struct Call {
    const char* name;
    int (*call)(int id);
    int code;
};

void PrintTo(const Call& call, std::ostream* out) {
    *out << call.name;
}

void ignore(const char*) {
    FAIL();
}

const Call calls[] = {
    {"VNRelease", VNRelease, VNRES_SUCCEED},
    {"VNStart", VNStart, VNRES_UNSUPPORTED},
    {"VNStop", VNStop, VNRES_UNSUPPORTED},
    {"VNIsRunning", [](int id) { return VNIsRunning(id, nullptr); }, VNRES_UNSUPPORTED},
    {"VNRegisterMessageCallback", [](int id) { return VNRegisterMessageCallback(id, ignore); },
     VNRES_UNSUPPORTED},
    {"VNRegisterMessageCallback2", [](int id) { return VNRegisterMessageCallback2(id, ignore, nullptr); },
     VNRES_UNSUPPORTED},
    {"VNSetAudio", [](int id) { return VNSetAudio(id, 1, 2); }, VNRES_INVALID_ARG},
    {"VNSetBps", [](int id) { return VNSetBps(id, 1); }, VNRES_WRONG_DEVICE},
    {"VNSetFramerate", [](int id) { return VNSetFramerate(id, 1); }, VNRES_WRONG_DEVICE},
    {"VNSetResolution", [](int id) { return VNSetResolution(id, 1, 2); }, VNRES_WRONG_DEVICE},
    {"VNGetKeyFrame", VNGetKeyFrame, VNRES_WRONG_DEVICE},
    {"VNSetH264Gop", [](int id) { return VNSetH264Gop(id, 1); }, VNRES_WRONG_DEVICE},
    {"VNSetParams", [](int id) { return VNSetParams(id, "a=b"); }, VNRES_WRONG_DEVICE},
    {"VNRead", [](int id) { return VNRead(id, nullptr, 0, 1, nullptr); }, VNRES_WRONG_DEVICE},
    {"VNFeed",
     [](int id) {
         char byte = 0;
         return VNFeed(id, &byte, 1);
     },
     VNRES_WRONG_DEVICE},
    {"VNSwitchResolution", [](int id) { return VNSwitchResolution(id, 1, 2); }, VNRES_INVALID_ARG},
};

class NoHandleTest : public PluginTest, public ::testing::WithParamInterface<Call> {};

TEST_P(NoHandleTest, ZeroIsRefusedWithoutACallOfTheFramework) {
    handleOf(new Stream<ControlPart, OutputPart, VideoPart>);
    EXPECT_EQ(GetParam().call(0), VNRES_INVALID_ARG);
    const Events events = happened();
    ASSERT_FALSE(events.empty());
    for (const std::string& event : events) EXPECT_EQ(event.compare(0, 8, "line on "), 0) << event;
    EXPECT_EQ(events.back(), error(GetParam().name, "!id"));
}

INSTANTIATE_TEST_SUITE_P(Calls, NoHandleTest, ::testing::ValuesIn(calls),
                         [](const auto& test) { return std::string(test.param.name); });

#if UINTPTR_MAX <= UINT_MAX

TEST_F(HandleTest, IsTheAddressOfTheObject) {
    kep::object_base* const object = new PlainObject;
    EXPECT_EQ(handleOf(object), reinterpret_cast<int>(object));
}

TEST_F(HandleTest, IsTheAddressOfTheRootOfAStream) {
    auto* const source = new Stream<ControlPart, OutputPart, AudioPart, kep::api::streaming::IPcmSource>;
    kep::object_base* const root = source;
    script.offer(root);
    int id = 0;
    ASSERT_EQ(VNAcquire(VNRES_PCM_SOURCE, &id), VNRES_SUCCEED);
    EXPECT_EQ(id, reinterpret_cast<int>(root));
    EXPECT_EQ(vornisa::objectOf(id), root);
    EXPECT_EQ(VNRelease(id), VNRES_SUCCEED);
}

#else

class DeadHandleTest : public PluginTest, public ::testing::WithParamInterface<Call> {
  protected:
    /** Calls the function with an invalid handle; expects its result and no call of the framework. */
    void expectNoCallFor(int id) {
        EXPECT_EQ(GetParam().call(id), GetParam().code) << id;
        for (const std::string& event : happened()) EXPECT_EQ(event.compare(0, 8, "line on "), 0) << event;
    }
};

TEST_P(DeadHandleTest, AReleasedHandleFindsNothing) {
    script.offer(new Stream<ControlPart, OutputPart, VideoPart>);
    int id = 0;
    ASSERT_EQ(VNAcquire(VNRES_STAMP, &id), VNRES_SUCCEED);
    ASSERT_EQ(VNRelease(id), VNRES_SUCCEED);
    happened();
    expectNoCallFor(id);
    handleOf(new Stream<ControlPart, OutputPart, VideoPart>);
    expectNoCallFor(id);
}

TEST_P(DeadHandleTest, AMadeUpHandleFindsNothing) {
    const int live = handleOf(new PlainObject);
    for (const int id :
         {1, 31, 66, madeUpHandle, live + 1, live + 256, live - 1, -live, -1, INT_MAX, INT_MIN})
        expectNoCallFor(id);
}

INSTANTIATE_TEST_SUITE_P(Calls, DeadHandleTest, ::testing::ValuesIn(calls),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(HandleTest, ZeroFindsNothingAmongLiveHandles) {
    handleOf(new PlainObject);
    EXPECT_EQ(vornisa::objectOf(0), nullptr);
    EXPECT_EQ(vornisa::endHandle(0), nullptr);
}

TEST_F(HandleTest, IsNeverGivenTwice) {
    PlainObject object;
    std::set<int> given;
    for (int i = 0; i < 100000; ++i) {
        const int handle = vornisa::newHandle(&object);
        ASSERT_GT(handle, 0);
        ASSERT_TRUE(given.insert(handle).second) << handle;
        ASSERT_EQ(vornisa::endHandle(handle), &object);
        ASSERT_EQ(vornisa::objectOf(handle), nullptr);
    }
}

TEST_F(HandleTest, ManyMayBeLiveAtATime) {
    std::vector<PlainObject> objects(20000);
    std::vector<int> handles;
    for (PlainObject& object : objects) handles.push_back(vornisa::newHandle(&object));
    EXPECT_EQ(std::set<int>(handles.begin(), handles.end()).size(), objects.size());
    for (std::size_t i = 0; i < objects.size(); ++i) ASSERT_EQ(vornisa::objectOf(handles[i]), &objects[i]);
    for (std::size_t i = 0; i < objects.size(); i += 2)
        ASSERT_EQ(vornisa::endHandle(handles[i]), &objects[i]);
    for (std::size_t i = 0; i < objects.size(); ++i)
        ASSERT_EQ(vornisa::objectOf(handles[i]), i % 2 ? &objects[i] : nullptr);
    for (std::size_t i = 1; i < objects.size(); i += 2)
        ASSERT_EQ(vornisa::endHandle(handles[i]), &objects[i]);
}

TEST_F(HandleTest, OneObjectMayHaveSeveral) {
    PlainObject object;
    const int first = vornisa::newHandle(&object);
    const int second = vornisa::newHandle(&object);
    EXPECT_NE(first, second);
    EXPECT_EQ(vornisa::endHandle(first), &object);
    EXPECT_EQ(vornisa::endHandle(first), nullptr);
    EXPECT_EQ(vornisa::objectOf(second), &object);
    EXPECT_EQ(vornisa::endHandle(second), &object);
}

TEST_F(HandleTest, AnObjectLivesAsLongAsItsLastHandle) {
    auto* const object = new PlainObject;
    const int first = vornisa::newHandle(object);
    const int second = vornisa::newHandle(object);
    EXPECT_EQ(VNRelease(first), VNRES_SUCCEED);
    EXPECT_EQ(script.liveObjects(), 1);
    EXPECT_EQ(VNSetParams(first, "a=b"), VNRES_WRONG_DEVICE);
    EXPECT_EQ(VNSetParams(second, "a=b"), VNRES_SUCCEED);
    EXPECT_EQ(VNRelease(second), VNRES_SUCCEED);
    EXPECT_EQ(script.liveObjects(), 0);
    EXPECT_EQ(VNSetParams(second, "a=b"), VNRES_WRONG_DEVICE);
}

TEST_F(HandleTest, TheHandleOfAnotherObjectKeepsNothingAlive) {
    const int other = handleOf(new PlainObject);
    const int handle = vornisa::newHandle(new PlainObject);
    EXPECT_EQ(VNRelease(handle), VNRES_SUCCEED);
    EXPECT_EQ(script.liveObjects(), 1);
    EXPECT_EQ(VNSetParams(other, "a=b"), VNRES_SUCCEED);
}

TEST_F(HandleTest, AHandleInALaterLevelOfTheTableKeepsItsObjectAlive) {
    std::vector<PlainObject> crowd(2000);
    std::vector<int> handles;
    for (PlainObject& object : crowd) handles.push_back(vornisa::newHandle(&object));
    auto* const object = new PlainObject;
    const int first = vornisa::newHandle(object);
    const int second = vornisa::newHandle(object);
    for (std::size_t i = 0; i < crowd.size(); ++i) ASSERT_EQ(vornisa::endHandle(handles[i]), &crowd[i]);
    EXPECT_EQ(VNRelease(first), VNRES_SUCCEED);
    EXPECT_EQ(script.liveObjects(), static_cast<int>(crowd.size()) + 1);
    EXPECT_EQ(VNRelease(second), VNRES_SUCCEED);
    EXPECT_EQ(script.liveObjects(), static_cast<int>(crowd.size()));
}

#endif

TEST_F(HandleTest, TheOutputFoundIsThatOfTheHandlesObject) {
    // Objects of different layouts, and more than the cache of found outputs has entries.
    std::vector<int> handles;
    std::vector<kep::object_base*> objects;
    for (int i = 0; i < 40; ++i) {
        kep::object_base* object = nullptr;
        if (i % 3 == 0) object = new Stream<OutputPart>;
        if (i % 3 == 1) object = new Stream<ControlPart, StatusPart, VideoPart, OutputPart>;
        if (i % 3 == 2) object = new Stream<AudioPart>;
        objects.push_back(object);
        handles.push_back(handleOf(object));
    }
    for (int round = 0; round < 3; ++round)
        for (std::size_t i = 0; i < handles.size(); ++i)
            ASSERT_EQ(vornisa::outputOf(handles[i]), dynamic_cast<common::IStreamOutput*>(objects[i]));
    EXPECT_EQ(vornisa::outputOf(0), nullptr);
}

}  // namespace
}  // namespace unit
