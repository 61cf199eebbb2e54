#include "commands.h"

#include <map>

#include "kep/reflect.h"
#include "script.h"

namespace {

std::map<std::string, std::string>& replies() {
    static std::map<std::string, std::string> all;
    return all;
}

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

Factory& Factory::Globle() {
    static Factory factory;
    return factory;
}

bool Factory::Run(const char* command, AttrSet& arguments) {
    const std::string cmd = arguments.GetOrDef("cmd", "");
    if (!scripted::step("Factory::Run " + cmd, command + (":" + arguments.ToString(false)))) return false;
    const auto reply = replies().find(cmd);
    if (reply != replies().end()) arguments.Add("ret", reply->second.c_str());
    return true;
}

}  // namespace kep::base
