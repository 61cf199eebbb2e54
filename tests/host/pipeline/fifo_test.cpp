#include "pipeline_fixture.h"

namespace kep::host {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

const SteadyTime origin = Clock::now();

SharedPacket picture(int index, int group = 5) {
    return videoPacket(origin + milliseconds(index), index % group == 0);
}

TEST(Fifo, DeliversEveryPacketInOrderOnItsOwnThread) {
    for (const std::string type : {"FifoFilter", "FifoSink"}) {
        Described chain("type=pipeline,layout={TestSource:name=a+" + type + ":max=4+TestSink:name=z}");
        ASSERT_TRUE(chain);
        ASSERT_TRUE(chain.play());
        for (int i = 0; i < 500; ++i) chain.child<TestSource>("a").push(picture(i));
        TestSink& sink = chain.child<TestSink>("z");
        ASSERT_TRUE(sink.waitFor(500));
        const std::vector<std::int64_t> stamps = sink.stamps(origin);
        for (std::size_t i = 0; i < stamps.size(); ++i) ASSERT_EQ(stamps[i], static_cast<std::int64_t>(i));
        EXPECT_NE(sink.thread(), std::this_thread::get_id());
    }
}

TEST(Fifo, HasNoThreadBeforeANonBlockingElement) {
    for (const bool atOnce : {true, false}) {
        Described chain(
            "type=pipeline,layout={TestSource:name=a+FifoFilter:name=f+FifoFilter+TestSink:name=z}");
        ASSERT_TRUE(chain);
        TestSink& sink = chain.child<TestSink>("z");
        sink.setAtOnce(atOnce);
        ASSERT_TRUE(chain.play());
        EXPECT_EQ(chain.child<Element>("f").takesAtOnce(), atOnce);
        for (int i = 0; i < 10; ++i) chain.child<TestSource>("a").push(picture(i));
        ASSERT_TRUE(sink.waitFor(10));
        EXPECT_EQ(sink.thread() == std::this_thread::get_id(), atOnce);
    }
}

TEST(Fifo, HasAThreadBehindSeveralSources) {
    Described chain(
        "type=pipeline,layout={TestSource:name=a+TestSource:name=b,link=null+FifoFilter:link={a,b}"
        "+TestSink:name=z}");
    ASSERT_TRUE(chain);
    TestSink& sink = chain.child<TestSink>("z");
    sink.setAtOnce(true);
    ASSERT_TRUE(chain.play());
    chain.child<TestSource>("a").push(picture(0));
    ASSERT_TRUE(sink.waitFor(1));
    EXPECT_EQ(sink.threadName(), "fifo");
}

TEST(Fifo, RequestsAKeyFrameAfterADrop) {
    Described chain("type=pipeline,layout={TestSource:name=a+FifoFilter:max=3,leaky=true+TestSink:name=z}");
    ASSERT_TRUE(chain);
    ASSERT_TRUE(chain.play());
    TestSource& source = chain.child<TestSource>("a");
    TestSink& sink = chain.child<TestSink>("z");
    sink.setOpen(false);
    // A group that never ends.
    int given = 0;
    for (; source.keyFrameRequests().empty(); ++given) {
        ASSERT_LT(given, 20);
        source.push(picture(given, 1'000));
    }
    EXPECT_EQ(source.keyFrameRequests().front(), origin + milliseconds(given - 1));
    source.push(videoPacket(origin + milliseconds(given), true));
    sink.setOpen(true);
    EXPECT_TRUE(waitUntil([&] {
        const std::vector<std::int64_t> stamps = sink.stamps(origin);
        return !stamps.empty() && stamps.back() == given;
    }));
}

TEST(Fifo, DrainsOnTheWayDown) {
    Described chain("type=pipeline,layout={TestSource:name=a+FifoFilter:max=100+TestSink:name=z}");
    ASSERT_TRUE(chain);
    ASSERT_TRUE(chain.play());
    TestSink& sink = chain.child<TestSink>("z");
    sink.setOpen(false);
    for (int i = 0; i < 50; ++i) chain.child<TestSource>("a").push(picture(i));
    std::thread stopper([&] { chain.stop(); });
    sink.setOpen(true);
    stopper.join();
    EXPECT_EQ(sink.packets().size(), 50U);
}

TEST(Fifo, BlocksTheSourceWhenFull) {
    Described chain("type=pipeline,layout={TestSource:name=a+FifoFilter:max=3+TestSink:name=z}");
    ASSERT_TRUE(chain);
    ASSERT_TRUE(chain.play());
    TestSink& sink = chain.child<TestSink>("z");
    sink.setOpen(false);
    std::atomic<int> pushed{0};
    std::thread pusher([&] {
        for (int i = 0; i < 20; ++i, ++pushed) chain.child<TestSource>("a").push(picture(i));
    });
    ASSERT_TRUE(waitUntil([&] { return pushed >= 3; }));
    // Three in the queue, one in the hands of its thread.
    EXPECT_LE(pushed, 4);
    sink.setOpen(true);
    pusher.join();
    EXPECT_TRUE(sink.waitFor(20));
}

TEST(Fifo, ALeakyOneDropsWholeGroupsAndReportsTheirSize) {
    Described app(
        "type=application,layout={type=pipeline,layout={TestSource:name=a+FifoFilter:max=10,leaky=true"
        "+TestSink:name=z}}");
    ASSERT_TRUE(app);
    ASSERT_TRUE(app.play());
    TestSink& sink = app.child<TestSink>("z");
    TestSource& source = app.child<TestSource>("a");
    source.push(picture(0));
    ASSERT_TRUE(sink.waitFor(1));
    sink.setOpen(false);
    for (int i = 5; i < 40; ++i) source.push(picture(i));
    sink.setOpen(true);
    app.stop();
    const std::vector<std::int64_t> stamps = sink.stamps(origin);
    const std::size_t lost = 36 - stamps.size();
    EXPECT_GT(lost, 0U);
    EXPECT_NE(app.waitForMessage("name=frameLost,media=video,lost=", ",total=" + std::to_string(lost)), "");
    EXPECT_EQ(stamps.back(), 39);
    for (std::size_t i = 1; i < stamps.size(); ++i) {
        if (stamps[i] != stamps[i - 1] + 1) {
            EXPECT_EQ(stamps[i] % 5, 0) << "group without its key frame";
        }
    }
}

TEST(Fifo, IsBoundedInBytesToo) {
    Described chain(
        "type=pipeline,layout={TestSource:name=a+FifoFilter:max=1000,bytes=1000,leaky=true+TestSink:name=z}");
    ASSERT_TRUE(chain);
    ASSERT_TRUE(chain.play());
    TestSink& sink = chain.child<TestSink>("z");
    sink.setOpen(false);
    for (int i = 0; i < 200; ++i)
        chain.child<TestSource>("a").push(videoPacket(origin + milliseconds(i), true, 100));
    sink.setOpen(true);
    chain.stop();
    // The contents of the queue, and the packet that its thread had taken.
    EXPECT_LE(sink.packets().size(), 11U);
}

TEST(Fifo, ACutStaysInOrderWithThePackets) {
    Described chain("type=pipeline,layout={TestSource:name=a+FifoFilter:max=8+TestSink:name=z}");
    ASSERT_TRUE(chain);
    ASSERT_TRUE(chain.play());
    for (int i = 0; i < 10; ++i) {
        if (i == 5) chain.child<TestSource>("a").cut();
        chain.child<TestSource>("a").push(picture(i));
    }
    chain.stop();
    EXPECT_EQ(chain.child<TestSink>("z").cutAfter(), 5);
    EXPECT_EQ(chain.child<TestSink>("z").packets().size(), 10U);
}

TEST(Fifo, RefusesAnInvalidDepth) {
    for (const char* depth : {"0", "-1", "100001"}) {
        EXPECT_THAT(
            refusalOf(std::string("type=pipeline,layout={TestSource+FifoFilter:name=f,max=") + depth + "}"),
            StartsWith(std::string("FifoFilter \"f\": max=") + depth + " is not from 1 to 100000"));
    }
    EXPECT_THAT(refusalOf("type=pipeline,layout={TestSource+FifoFilter:name=f,max=many}"),
                HasSubstr("\"max\""));
}

}  // namespace
}  // namespace kep::host
