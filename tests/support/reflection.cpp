/** Classes and commands of the double. Every class makes the offered object, or else a plain one. */
#include "reflection.h"

#include <map>

#include "kep/reflect.h"
#include "objects.h"
#include "script.h"

namespace {

using scripted::step;

std::map<std::string, std::string>& replies() {
    static std::map<std::string, std::string> all;
    return all;
}

class Class final : public kep::base::IClass {
    kep::object_base* create(kep::base::AttrSet& attributes) override {
        if (!step("IClass::create", attributes.ToString(false))) return nullptr;
        if (kep::object_base* const offered = scripted::Script::instance().takeOffer()) return offered;
        return new scripted::PlainObject;
    }
    bool initObject(kep::object_base*, kep::base::AttrSet&) override { return step("IClass::initObject"); }
    bool initAttrSet(kep::object_base*, kep::base::AttrSet&) override { return step("IClass::initAttrSet"); }
};

Class anyClass;

}  // namespace

namespace scripted {

void replyTo(const std::string& cmd, const std::string& ret) {
    replies()[cmd] = ret;
}

void resetReplies() {
    replies().clear();
}

}  // namespace scripted

namespace kep::base {

IClass* IClass::Find(const char* type) {
    return step("IClass::Find", type) ? &anyClass : nullptr;
}

IClass* IClass::FindBeforeNew(const char* type) {
    return step("IClass::FindBeforeNew", type) ? &anyClass : nullptr;
}

bool Object::NewPreProcessAttrSet(AttrSet& attributes) {
    return step("Object::NewPreProcessAttrSet", attributes.ToString(false));
}

Factory& Factory::Globle() {
    static Factory factory;
    return factory;
}

bool Factory::Run(const char* command, AttrSet& arguments) {
    const std::string cmd = arguments.GetOrDef("cmd", "");
    if (!step("Factory::Run " + cmd, command + (":" + arguments.ToString(false)))) return false;
    const auto reply = replies().find(cmd);
    if (reply != replies().end()) arguments.Add("ret", reply->second.c_str());
    return true;
}

}  // namespace kep::base
