/** The flat calls. They return 256 for success, as some of them only promise a non-zero value. */
#include <cstring>
#include <thread>

#include "framework.h"
#include "objects.h"
#include "state.h"

using twin::granted;
using twin::state;

namespace {

constexpr int kSuccess = 256;

struct Set final : kep::object_base {
    explicit Set(const char* text) {
        twin::objectCreated(this);
        if (std::strncmp(text, "file://", 7) == 0) {
            if (const char* const dot = std::strrchr(text, '.')) attributes.Add("ext", dot + 1);
        } else {
            attributes.Parse(text);
        }
    }
    ~Set() override { twin::objectDestroyed(this); }
    kep::base::AttrSet attributes;
};

std::string kindOf(kep::object_base* object) {
    return dynamic_cast<Set*>(object) ? "set" : dynamic_cast<twin::Thing*>(object) ? "thing" : "nothing";
}

std::thread messages;

}  // namespace

kep::object_base* kepCreate(const char* text) {
    return granted("kepCreate", text) ? new twin::Thing(text) : nullptr;
}

kep::object_base* kepCreateApp(const char* text) {
    return granted("kepCreateApp", text) ? new twin::Thing(text) : nullptr;
}

kep::object_base* kepCreateAttrSet(const char* text) {
    return granted("kepCreateAttrSet", text) ? new Set(text) : nullptr;
}

const char* kepAttrGetStr(kep::object_base* set, const char* key) {
    Set* const found = dynamic_cast<Set*>(set);
    return found ? found->attributes.Get(key) : nullptr;
}

std::int64_t kepAttrGetInt(kep::object_base* set, const char* key) {
    Set* const found = dynamic_cast<Set*>(set);
    const char* const text = found ? found->attributes.Get(key) : state().texts[key].c_str();
    return text && *text ? std::stoll(text) : 0;
}

// Once a clip plays, its messages arrive on a thread of the framework.
int kepStatusUp(kep::object_base* object, const char* to) {
    if (!granted("kepStatusUp", kindOf(object) + "," + to)) return 0;
    if (state().handler)
        messages = std::thread([handler = state().handler] {
            handler("name=recordStart");
            handler("name=somethingElse");
            handler("name=RECORDSTOP,url=file:///a.mp4");
        });
    return kSuccess;
}

int kepStatusDown(kep::object_base* object, const char* to) {
    if (messages.joinable()) messages.join();
    return granted("kepStatusDown", kindOf(object) + "," + to) ? kSuccess : 0;
}

int kepRegisterMessageProcess(kep::object_base* object, int (*handler)(const char* message)) {
    if (!granted("kepRegisterMessageProcess", kindOf(object))) return 0;
    state().handler = handler;
    return kSuccess;
}

int kepDestroy(kep::object_base* object) {
    if (!granted("kepDestroy", kindOf(object))) return 0;
    delete object;
    return kSuccess;
}
