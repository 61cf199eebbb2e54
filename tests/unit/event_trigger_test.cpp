#include <atomic>
#include <thread>

#include "clocks.h"
#include "fixture.h"
#include "flat_calls.h"
#include "fresh_process.h"
#include "standard_output.h"

namespace unit {
namespace {

std::string said(const std::string& function, const std::string& text) {
    return StandardOutput::line("api/vornisa_event_trigger.cpp", function, text);
}

const char url[] = "file:///a.mp4";

/** The description created for a URL, with <tp> in the place of the event's time. */
std::string described(const std::string& target) {
    return "type=pipeline,serialize={ShmSource:connect={type=pipeline,name=plPreRecordAac},name=asrc+"
           "FifoFilter:name=afifo,max=8+ShmSource:connect={type=pipeline,name=plPreRecordH264},name=vsrc,"
           "link=null+"
           "FifoFilter:name=vfifo,max=8+Sync:name=sync,link={afifo,vfifo}+RecordEventTrigger:name=evt,pre=3s,"
           "post=7s,"
           "delApp=false,dbg=false,tp=<tp>+muxer-fmp4:name=muxer,url=" +
           target + ",dbg=false}";
}

const std::string shownTime = said("VNRecordEventTrigger", "<tp>");
const std::string shownDescription = said("Trigger", described(url));
const std::string created = "kepCreateApp(" + described(url) + ")";
const char registered[] = "kepRegisterMessageProcess(app)";
const char started[] = "kepStatusUp(app,play)";
const char slept[] = "sleep 10ms";
const char stopped[] = "kepStatusDown(app,null)";
const char destroyed[] = "kepDestroy(app)";

std::string refused(const std::string& condition) {
    return said("Trigger", condition);
}
const std::string failed = said("VNRecordEventTrigger", "!Trigger(url,tp)");

/** The events of the handler for a message that it logs as `shown`. */
Events handled(const std::string& message, const std::string& shown) {
    return {said("MessageProcess", message), "kepCreateAttrSet(" + message + ")",
            "kepAttrGetStr([" + message + "],name)", said("MessageProcess", shown),
            "kepDestroy([" + message + "])"};
}

Events joined(std::initializer_list<Events> parts) {
    Events all;
    for (const Events& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

/** Delivers a message as the framework does, on a thread of its own. */
void deliver(const char* message) {
    std::thread([message] { EXPECT_EQ(messageHandler()(message), 1); }).join();
}

/**
 * Only the first clip of a process is waited for, which cannot be reset: each test runs in a process of its
 * own.
 */
class EventTriggerTest : public PluginTest {
  protected:
    ~EventTriggerTest() override {
        resetFlatCalls();
        resetTimeOfDay();
        atSleep(nullptr);
    }

    int trigger(const char* target) {
        script.offer(new Named("app"));
        return VNRecordEventTrigger(target);
    }

    /** The events, with the event's time replaced by <tp> after checking that it lies within this test. */
    Events happenedWithTime() {
        Events events = happened();
        if (events.empty()) return events;
        const std::string prefix = shownTime.substr(0, shownTime.find("<tp>"));
        EXPECT_EQ(events[0].substr(0, prefix.size()), prefix);
        const std::string tp = events[0].substr(prefix.size());
        EXPECT_EQ(tp.substr(tp.size() - 2), "ms");
        EXPECT_TRUE(interval_.contains(tp.substr(0, tp.size() - 2), 1000000)) << tp;
        for (std::string& event : events) {
            const auto at = event.find(tp);
            if (at != std::string::npos) event.replace(at, tp.size(), "<tp>");
        }
        return events;
    }

    /** Reports the closed clip as soon as the pipeline plays, so that the call does not wait. */
    void closeClipAtOnce() {
        afterStatusUp([] { deliver("name=recordStop"); });
    }

    const Events clipClosed = handled("name=recordStop", "Record Stop");

    /** Fails at `step`. The call does not destroy the application, so this does. */
    void refuseStep(const char* step, const Events& expected) {
        inFreshProcess([&] {
            StandardOutput output;
            closeClipAtOnce();
            Named app("app");
            script.offer(&app);
            script.refuse(step);
            EXPECT_EQ(VNRecordEventTrigger(url), VNRES_FAIL);
            EXPECT_EQ(happenedWithTime(), expected);
        });
    }

  private:
    SteadyInterval interval_;
};

TEST_F(EventTriggerTest, WaitsUntilTheClipIsClosed) {
    inFreshProcess([this] {
        StandardOutput output;
        atSleep([](int number) {
            if (number == 2) deliver("name=recordStart,url=file:///a.mp4");
            if (number == 3) deliver("name=recordStop,url=file:///a.mp4");
        });
        EXPECT_EQ(trigger(url), VNRES_SUCCEED);
        EXPECT_EQ(happenedWithTime(),
                  joined({{shownTime, shownDescription, created, registered, started, slept, slept},
                          handled("name=recordStart,url=file:///a.mp4", "Record Start"),
                          {slept},
                          handled("name=recordStop,url=file:///a.mp4", "Record Stop"),
                          {stopped, destroyed}}));
        EXPECT_EQ(script.liveObjects(), 0);
    });
}

// Deliberate: the flag that the call waits for is never reset.
TEST_F(EventTriggerTest, WaitsForTheFirstClipOfAProcessOnly) {
    inFreshProcess([this] {
        StandardOutput output;
        closeClipAtOnce();
        EXPECT_EQ(trigger(url), VNRES_SUCCEED);
        happened();
        afterStatusUp(nullptr);
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(trigger(url), VNRES_SUCCEED);
            EXPECT_EQ(happenedWithTime(), (Events{shownTime, shownDescription, created, registered, started,
                                                  stopped, destroyed}));
        }
    });
}

// A message that arrives before the wait counts too.
TEST_F(EventTriggerTest, DoesNotSleepForAClipThatIsClosedAlready) {
    inFreshProcess([this] {
        StandardOutput output;
        closeClipAtOnce();
        EXPECT_EQ(trigger(url), VNRES_SUCCEED);
        EXPECT_EQ(happenedWithTime(), joined({{shownTime, shownDescription, created, registered, started},
                                              clipClosed,
                                              {stopped, destroyed}}));
    });
}

TEST_F(EventTriggerTest, NamesTheFileByTheLocalTime) {
    inFreshProcess([this] {
        StandardOutput output;
        closeClipAtOnce();
        setenv("TZ", "HOME5", 1);
        std::tm time = {};
        time.tm_year = 124;
        time.tm_mon = 2;
        time.tm_mday = 5;
        time.tm_hour = 7 + 5;
        time.tm_min = 8;
        time.tm_sec = 9;
        setTimeOfDay(timegm(&time));
        EXPECT_EQ(trigger(nullptr), VNRES_SUCCEED);
        const std::string name = "file://EVT_2024-03-05_07-08-09.mp4";
        EXPECT_EQ(happenedWithTime(),
                  joined({{shownTime, said("createFileName", name), said("Trigger", described(name)),
                           "kepCreateApp(" + described(name) + ")", registered, started},
                          clipClosed,
                          {stopped, destroyed}}));
    });
}

TEST_F(EventTriggerTest, AcceptsAUrlOfAnyLength) {
    inFreshProcess([this] {
        StandardOutput output;
        closeClipAtOnce();
        const std::string target = "file:///" + std::string(100000, 'u') + "#%s";
        EXPECT_EQ(trigger(target.c_str()), VNRES_SUCCEED);
        EXPECT_EQ(happenedWithTime()[2], "kepCreateApp(" + described(target) + ")");
    });
}

TEST_F(EventTriggerTest, FailsWhenThePipelineIsNotCreated) {
    refuseStep("kepCreateApp", {shownTime, shownDescription, created, refused("!app"), failed});
}

// Deliberate, as in the tests that follow: the application is not destroyed.
TEST_F(EventTriggerTest, FailsWhenTheHandlerIsNotRegistered) {
    refuseStep("kepRegisterMessageProcess",
               {shownTime, shownDescription, created, registered,
                refused("!kepRegisterMessageProcess(app,&MessageProcess)"), failed});
}

TEST_F(EventTriggerTest, FailsWhenThePipelineDoesNotStart) {
    refuseStep("kepStatusUp", {shownTime, shownDescription, created, registered, started,
                               refused("!kepStatusUp(app,\"play\")"), failed});
}

TEST_F(EventTriggerTest, FailsWhenThePipelineDoesNotStop) {
    refuseStep("kepStatusDown", joined({{shownTime, shownDescription, created, registered, started},
                                        clipClosed,
                                        {stopped, refused("!kepStatusDown(app,\"null\")"), failed}}));
}

TEST_F(EventTriggerTest, FailsWhenThePipelineIsNotDestroyed) {
    inFreshProcess([this] {
        StandardOutput output;
        closeClipAtOnce();
        EXPECT_EQ(trigger(url), VNRES_SUCCEED);
        happened();
        Named app("app");
        script.offer(&app);
        script.refuse("kepDestroy");
        afterStatusUp(nullptr);
        EXPECT_EQ(VNRecordEventTrigger(url), VNRES_FAIL);
        EXPECT_EQ(happenedWithTime(), (Events{shownTime, shownDescription, created, registered, started,
                                              stopped, destroyed, refused("!kepDestroy(app)"), failed}));
    });
}

TEST_F(EventTriggerTest, HandlesEveryMessageAndStopsForRecordStopOnly) {
    inFreshProcess([this] {
        StandardOutput output;
        const auto deliverNextMessage = [](int number) {
            static const char* const messages[] = {
                "name=recordStart", "name=RECORDstart",   "name=other",     "url=file:///a.mp4",
                "text=recordStop",  "name=recordStopped", "name=RECORDSTOP"};
            deliver(messages[number - 1]);
        };
        atSleep(deliverNextMessage);
        EXPECT_EQ(trigger(url), VNRES_SUCCEED);
        EXPECT_EQ(happenedWithTime(),
                  joined({{shownTime, shownDescription, created, registered, started, slept},
                          handled("name=recordStart", "Record Start"),
                          {slept},
                          handled("name=RECORDstart", "Record Start"),
                          {slept},
                          handled("name=other", ""),
                          {slept},
                          handled("url=file:///a.mp4", ""),
                          {slept},
                          handled("text=recordStop", ""),
                          {slept},
                          handled("name=recordStopped", ""),
                          {slept},
                          handled("name=RECORDSTOP", "Record Stop"),
                          {stopped, destroyed}}));
    });
}

TEST_F(EventTriggerTest, HandlesAMessageThatDoesNotParse) {
    inFreshProcess([this] {
        StandardOutput output;
        refuseSet("}{");
        refuseSet("nullptr");
        atSleep([](int number) {
            if (number == 1) deliver("}{");
            if (number == 2) deliver(nullptr);
            if (number == 3) deliver("name=recordStop");
        });
        EXPECT_EQ(trigger(url), VNRES_SUCCEED);
        const auto unreadable = [](const std::string& text, const std::string& message) {
            return Events{said("MessageProcess", text), "kepCreateAttrSet(" + message + ")",
                          said("MessageProcess", "")};
        };
        EXPECT_EQ(happenedWithTime(),
                  joined({{shownTime, shownDescription, created, registered, started, slept},
                          unreadable("}{", "}{"),
                          {slept},
                          unreadable("", "nullptr"),
                          {slept},
                          clipClosed,
                          {stopped, destroyed}}));
    });
}

// With real sleeps, and no recording (whose mutex would synchronise) between the reads of the flag, so that
// the thread sanitizer would find a race on it.
TEST_F(EventTriggerTest, EndsOnAMessageOfAnotherThread) {
    inFreshProcess([this] {
        StandardOutput output;
        std::thread framework;
        afterStatusUp([&framework] { framework = std::thread([] { messageHandler()("name=recordStop"); }); });
        EXPECT_EQ(trigger(url), VNRES_SUCCEED);
        framework.join();
    });
}

TEST_F(EventTriggerTest, OneMessageEndsTwoCalls) {
    inFreshProcess([] {
        StandardOutput output;
        std::atomic<int> sleeping{0};
        atSleep([&sleeping](int) {
            static thread_local bool counted = false;
            if (!counted) ++sleeping;
            counted = true;
            std::this_thread::yield();
        });
        std::atomic<int> sum{-10};
        const auto call = [&sum] { sum += VNRecordEventTrigger(url) + 5; };
        std::thread first(call);
        std::thread second(call);
        while (sleeping < 2) std::this_thread::yield();
        deliver("name=recordStop");
        first.join();
        second.join();
        EXPECT_EQ(sum, 0);
    });
}

TEST_F(EventTriggerTest, CatchesExceptions) {
    inFreshProcess([this] {
        StandardOutput output;
        script.throwAt("kepCreateApp");
        EXPECT_EQ(VNRecordEventTrigger(url), VNRES_FAIL);
        EXPECT_EQ(happenedWithTime(), (Events{shownTime, shownDescription, created,
                                              said("VNRecordEventTrigger", "exception:std::bad_alloc")}));
    });
}

TEST_F(EventTriggerTest, CatchesExceptionsInTheHandler) {
    inFreshProcess([this] {
        StandardOutput output;
        closeClipAtOnce();
        EXPECT_EQ(trigger(url), VNRES_SUCCEED);
        happened();
        script.throwAt("kepAttrGetStr");
        deliver("name=recordStop");
        EXPECT_EQ(happened().back(), said("MessageProcess", "exception:std::bad_alloc"));
    });
}

}  // namespace
}  // namespace unit
