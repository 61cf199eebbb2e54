// What a message callback may call: every function except the release of its own handle. Each test needs its
// own process, because only the first clip of a process is waited for.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>

#include "own_segments.h"
#include "public_calls.h"
#include "vornisa_api.h"

namespace {

using public_calls::Call;

/** Run by the callback, which has no user pointer, at the first message. */
std::function<void()> task;
std::atomic<bool> begun{false};

void callback(const char*) {
    if (!begun.exchange(true)) task();
}

class CallbackCalls : public testing::TestWithParam<VNRes_Type> {
  protected:
    CallbackCalls() {
        setenv("KEP_HOST_VIDEO", "test", 1);
        setenv("KEP_HOST_AUDIO", "test", 1);
        std::string pattern = std::filesystem::temp_directory_path() / "callsXXXXXX";
        folder_ = mkdtemp(pattern.data());
    }
    ~CallbackCalls() override { std::filesystem::remove_all(folder_); }

    static int acquire(VNRes_Type type) {
        int id = 0;
        EXPECT_EQ(VNAcquire(type, &id), VNRES_SUCCEED) << type;
        return id;
    }

    /** Makes the callback of `own` perform each call, with each of `ids` if the call takes a handle. */
    void makeEveryCall(int own, const std::vector<int>& ids) {
        std::promise<void> returned;
        std::atomic<const char*> current{""};
        const std::vector<Call> calls = public_calls::everyCall(folder_);
        task = [&] {
            for (const Call& call : calls) {
                current = call.name.c_str();
                for (const int id : call.takesHandle ? ids : std::vector<int>{0}) call.make(id);
            }
            returned.set_value();
        };
        ASSERT_EQ(VNRegisterMessageCallback(own, callback), VNRES_SUCCEED);
        ASSERT_EQ(VNStart(own), VNRES_SUCCEED);
        if (returned.get_future().wait_for(std::chrono::seconds(120)) == std::future_status::ready) return;
        std::fprintf(stderr, "%s has not returned from within a callback\n", current.load());
        // The hanging thread would block everything else from ending.
        std::_Exit(1);
    }

    std::filesystem::path folder_;

  private:
    const OwnSegments segments_;
};

TEST_F(CallbackCalls, TheTableHasEveryFunction) {
    std::set<std::string> names;
    for (const Call& call : public_calls::everyCall(folder_)) names.insert(call.name);
    EXPECT_EQ(names, public_calls::exportedFunctions());
    EXPECT_EQ(names.size(), 50U);
}

TEST_F(CallbackCalls, OnOtherObjectsEachReturns) {
    std::vector<int> ids;
    for (const VNRes_Type type : {VNRES_H264_SOURCE, VNRES_PCM_SOURCE, VNRES_AAC_SOURCE, VNRES_PCM_PLAYER,
                                  VNRES_PHOTOGRAPHY, VNRES_EVENT_SERVICE, VNRES_REC_MAN}) {
        ids.push_back(acquire(type));
        ASSERT_EQ(VNStart(ids.back()), VNRES_SUCCEED) << type;
    }
    const int own = acquire(VNRES_YUV_SOURCE);
    makeEveryCall(own, ids);
    EXPECT_TRUE(std::filesystem::exists(folder_ / "clip.mp4"));
    EXPECT_TRUE(std::filesystem::exists(folder_ / "picture.jpg"));
    ids.push_back(own);
    for (const int id : ids) {
        VNStop(id);
        EXPECT_EQ(VNRelease(id), VNRES_SUCCEED);
    }
    public_calls::endRecordings(2);
}

TEST_P(CallbackCalls, OnTheSameObjectEachReturns) {
    const int own = acquire(GetParam());
    makeEveryCall(own, {own});
    EXPECT_TRUE(std::filesystem::exists(folder_ / "clip.mp4"));
    VNStop(own);
    EXPECT_EQ(VNRelease(own), VNRES_SUCCEED);
    public_calls::endRecordings(2);
}

INSTANTIATE_TEST_SUITE_P(Kinds, CallbackCalls,
                         testing::Values(VNRES_H264_SOURCE, VNRES_PCM_SOURCE, VNRES_PCM_PLAYER,
                                         VNRES_PHOTOGRAPHY, VNRES_EVENT_SERVICE, VNRES_REC_MAN));

}  // namespace
