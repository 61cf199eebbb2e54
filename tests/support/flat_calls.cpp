#include "flat_calls.h"

#include <atomic>
#include <mutex>
#include <set>

#include "kep/entry_points.h"
#include "script.h"

namespace scripted {
namespace {

typedef int (*Handler)(const char*);

std::set<std::string> refusedSets;
std::mutex mutex; /**< guards `sets`: threads of the framework create sets too */
std::set<kep::object_base*> sets;
std::function<void()> statusUpAction;
std::atomic<Handler> handler{nullptr};

std::string shown(const char* text) {
    return text ? text : "nullptr";
}

std::string shown(kep::object_base* object) {
    const auto* const named = dynamic_cast<Named*>(object);
    return !object ? "nullptr" : named ? named->name : "object";
}

/** The attributes for `text`: itself, or of a URL the extension only, as the plug-in reads no other part. */
std::string attributesOf(const std::string& text) {
    if (text.rfind("file://", 0) != 0) return text;
    const auto dot = text.rfind('.');
    return dot == std::string::npos || text.find('/', dot) != std::string::npos
               ? ""
               : "ext=" + text.substr(dot + 1);
}

const char* attribute(kep::object_base* object, const char* key) {
    const auto* const named = dynamic_cast<Named*>(object);
    return named ? named->attributes.Get(key) : nullptr;
}

}  // namespace

Named::Named(const std::string& ownName, const char* text) : name(ownName), attributes(text) {
    Script::instance().objectMade();
}

Named::~Named() {
    Script::instance().objectGone();
}

void resetFlatCalls() {
    refusedSets.clear();
    statusUpAction = nullptr;
    handler = nullptr;
    for (kep::object_base* const set : sets) delete set;
    sets.clear();
}

void refuseSet(const std::string& text) {
    refusedSets.insert(text);
}

int setsLeft() {
    return static_cast<int>(sets.size());
}

void afterStatusUp(const std::function<void()>& action) {
    statusUpAction = action;
}

Handler messageHandler() {
    return handler;
}

}  // namespace scripted

using namespace scripted;

kep::object_base* kepCreateAttrSet(const char* text) {
    const std::string name = shown(text);
    if (!step("kepCreateAttrSet", name) || refusedSets.count(name)) return nullptr;
    kep::object_base* const made = new Named("[" + name + "]", attributesOf(text ? text : "").c_str());
    const std::lock_guard<std::mutex> lock(mutex);
    sets.insert(made);
    return made;
}

const char* kepAttrGetStr(kep::object_base* set, const char* key) {
    return step("kepAttrGetStr", shown(set) + "," + key) ? attribute(set, key) : nullptr;
}

std::int64_t kepAttrGetInt(kep::object_base* set, const char* key) {
    const bool granted = step("kepAttrGetInt", shown(set) + "," + key);
    const char* const text = attribute(set, key);
    return granted && text ? std::stoll(text) : 0;
}

int kepStatusUp(kep::object_base* object, const char* state) {
    if (!step("kepStatusUp", shown(object) + "," + state)) return false;
    if (statusUpAction) statusUpAction();
    return true;
}

int kepStatusDown(kep::object_base* object, const char* state) {
    return step("kepStatusDown", shown(object) + "," + state);
}

int kepRegisterMessageProcess(kep::object_base* app, int (*registered)(const char* message)) {
    handler = registered;
    return step("kepRegisterMessageProcess", shown(app));
}

int kepDestroy(kep::object_base* object) {
    if (!step("kepDestroy", shown(object))) return false;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        sets.erase(object);
    }
    delete object;
    return true;
}
