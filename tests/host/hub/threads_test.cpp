// Counts the threads of the library by their names in the system.
#include "media/threads.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

#include "kep/streaming.h"
#include "pipeline_fixture.h"

namespace kep::host {
namespace {

using Names = std::map<std::string, int>;

std::string nameIn(const std::filesystem::path& task) {
    std::string name;
    std::getline(std::ifstream(task / "comm"), name);
    return name;
}

/** The threads with a name of their own, unlike the test's threads and those of a sanitizer. */
Names threads() {
    Names names;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        const std::string name = nameIn(task.path());
        if (!name.empty() && name != nameIn("/proc/self")) ++names[name];
    }
    return names;
}

/** Waits until exactly these threads exist. */
void expectThreads(const Names& expected) {
    EXPECT_TRUE(waitUntil([&] { return threads() == expected; })) << testing::PrintToString(threads());
}

class ThreadsTest : public testing::Test {
  protected:
    ThreadsTest() {
        setenv("KEP_HOST_VIDEO", "test", 1);
        setenv("KEP_HOST_AUDIO", "test", 1);
    }
};

TEST_F(ThreadsTest, AreNamedAsTheSystemShowsThem) {
    std::string name;
    startThread(Thread::cameraElement, [&] {
        char text[16] = {};
        pthread_getname_np(pthread_self(), text, sizeof text);
        name = text;
    }).join();
    EXPECT_EQ(name, nameOf(Thread::cameraElement));
}

TEST_F(ThreadsTest, ALiveStreamHasTwo) {
    api::streaming::IH264Source* const source = api::streaming::IH264Source::CreateNew("vornisa");
    ASSERT_TRUE(source->ChangeUp(State::play));
    std::shared_ptr<api::streaming::common::frame_t> frame;
    ASSERT_TRUE(source->PullFrame(frame, true));
    expectThreads({{"camera", 1}, {"camera-element", 1}});
    delete static_cast<object_base*>(source);
}

TEST_F(ThreadsTest, ARecordingWithSoundHasSix) {
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("threads-" + std::to_string(getpid()));
    std::filesystem::create_directory(folder);
    {
        Described app(
            "type=application,layout={type=pipeline,layout={ShmSource:connect={type=pipeline,name="
            "plAacSource},name=asrc+FifoFilter:name=afifo,max=64+ShmSource:connect={type=pipeline,layout={"
            "pv-yuv-src-adv:w=640,h=360+encoder-h264:fr=30+FifoSink:max=2},name=plThreads},name=vsrc,link="
            "null+FifoFilter:name=vfifo,max=64+Sync:link={afifo,vfifo}+VornisaSeamless:duration=60s+"
            "muxer-fmp4:url={file://" +
            folder.string() +
            "/a.mp4,temp_ext_name=part},sendmsg={recordStart={oper=AfterOpen,send={upward}}}}}");
        ASSERT_TRUE(app);
        ASSERT_TRUE(app.play());
        ASSERT_NE(app.waitForMessage("name=recordStart"), "");
        expectThreads({{"camera", 1},
                       {"camera-element", 1},
                       {"microphone", 1},
                       {"mic-element", 1},
                       {"muxer", 1},
                       {"kep-messages", 1}});
    }
    std::filesystem::remove_all(folder);
}

TEST_F(ThreadsTest, AnEventServiceHasSix) {
    Described app(
        "type=Application,layout={type=pipeline,layout={ShmSource:connect={type=pipeline,name="
        "plPreRecordAac},name=asrc+FifoFilter:name=afifo,max=8+ShmSource:connect={type=pipeline,name="
        "plPreRecordH264},name=vsrc,link=null+FifoFilter:name=vfifo,max=8+Sync:link={afifo,vfifo}+"
        "RecordEventServiceTriggerShm:name=ctrl+muxer-fmp4:name=muxer}}");
    ASSERT_TRUE(app);
    ASSERT_TRUE(app.play());
    ASSERT_NE(app.waitForMessage("name=started"), "");
    expectThreads({{"camera", 1},
                   {"camera-element", 1},
                   {"microphone", 1},
                   {"mic-element", 1},
                   {"event", 1},
                   {"kep-messages", 1}});
}

}  // namespace
}  // namespace kep::host
