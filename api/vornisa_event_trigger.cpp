/** A clip around an event, recorded by a pipeline of its own. */
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "kep/entry_points.h"
#include "kep/hash.h"
#include "vornisa_check.h"
#include "vornisa_event.h"
#include "vornisa_pre_record.h"
#include "vornisa_text.h"

VN_LOG_SINK(standardOutput);

// Cleared by the first clip that is closed, and never set again: a later call no longer waits for its clip.
static std::atomic<bool> recording(true);

struct Destroyer {
    void operator()(kep::object_base* set) const { kepDestroy(set); }
};
using AttrSetPtr = std::unique_ptr<kep::object_base, Destroyer>;

/** Receives the messages of the application; 1 means that the message has been handled. */
static int MessageProcess(const char* message) try {
    VN_LOG(information, message);
    const AttrSetPtr set(kepCreateAttrSet(message));
    const std::uint32_t name = kep::Hash(set ? kepAttrGetStr(set.get(), "name") : nullptr);
    if (name == kep::Hash("recordStop")) {
        VN_LOG(information, "Record Stop");
        recording = false;
    } else if (name == kep::Hash("recordStart")) {
        VN_LOG(information, "Record Start");
    } else {
        VN_LOG(information, "");
    }
    return 1;
}
VN_END_WITH(1)

/** False when a step failed; the application is then not destroyed. */
static bool Trigger(const char* url, const char* tp) {
    const std::string description =
        vornisa::compose("type=pipeline,serialize={" VN_PRE_RECORD_SOURCES
                         "+RecordEventTrigger:name=evt,pre=3s,post=7s,delApp=false,dbg=false,tp=#"
                         "+muxer-fmp4:name=muxer,url=#,dbg=false}",
                         {tp, url});
    VN_LOG(information, description.c_str());
    kep::object_base* const app = kepCreateApp(description.c_str());
    VN_FAIL_IF(!app, false);
    VN_FAIL_IF_SAYING(!kepRegisterMessageProcess(app, &MessageProcess),
                      "!kepRegisterMessageProcess(app,&MessageProcess)", false);
    VN_FAIL_IF_SAYING(!kepStatusUp(app, "play"), "!kepStatusUp(app,\"play\")", false);
    while (recording) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    VN_FAIL_IF_SAYING(!kepStatusDown(app, "null"), "!kepStatusDown(app,\"null\")", false);
    VN_FAIL_IF(!kepDestroy(app), false);
    return true;
}

int VNRecordEventTrigger(const char* url) try {
    const std::string tp = vornisa::compose("#ms", {vornisa::eventTime()});
    VN_LOG(information, tp.c_str());
    const std::string target = url ? url : vornisa::createFileName<VnLog>(__LINE__);
    VN_FAIL_IF_SAYING(!Trigger(target.c_str(), tp.c_str()), "!Trigger(url,tp)", VNRES_FAIL);
    return VNRES_SUCCEED;
}
VN_END
