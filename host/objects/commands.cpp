#include "objects/commands.h"

#include <exception>
#include <map>
#include <memory>
#include <utility>

#include "kep/reflect.h"
#include "objects/log.h"
#include "objects/mutex.h"
#include "text/names.h"

namespace kep::host {
namespace {

class Commands {
  public:
    static Commands& instance() {
        // Never destroyed: registrations of other libraries may outlive this library's statics.
        static Commands* const commands = new Commands;
        return *commands;
    }

    bool add(const std::string& key, CommandReceiver receiver) {
        const MutexLock lock(mutex_);
        return receivers_.emplace(key, std::make_shared<CommandReceiver>(std::move(receiver))).second;
    }

    void remove(const std::string& key) {
        const MutexLock lock(mutex_);
        receivers_.erase(key);
    }

    std::shared_ptr<CommandReceiver> find(const std::string& key) {
        const MutexLock lock(mutex_);
        const auto found = receivers_.find(key);
        return found == receivers_.end() ? nullptr : found->second;
    }

  private:
    Mutex mutex_;
    std::map<std::string, std::shared_ptr<CommandReceiver>> receivers_ GUARDED_BY(mutex_);
};

}  // namespace

CommandRegistration::CommandRegistration(const char* name, CommandReceiver receiver)
    : key_(foldedName(name)) {
    if (Commands::instance().add(key_, std::move(receiver))) return;
    KEP_HOST_ERROR("command " + key_ + " already has a receiver");
    key_.clear();
}

CommandRegistration::~CommandRegistration() {
    if (!key_.empty()) Commands::instance().remove(key_);
}

}  // namespace kep::host

namespace kep::base {

Factory& Factory::Globle() {
    static Factory factory;
    return factory;
}

bool Factory::Run(const char* command, AttrSet& arguments) {
    const std::string name = command ? command : "";
    const auto receiver = host::Commands::instance().find(host::foldedName(name));
    if (!receiver) {
        KEP_HOST_ERROR("unknown command \"" + name + "\"");
        return false;
    }
    try {
        return (*receiver)(arguments);
    } catch (const std::exception& failure) {
        KEP_HOST_ERROR("command " + name + " failed: " + failure.what());
    } catch (...) {
        KEP_HOST_ERROR("command " + name + " failed");
    }
    return false;
}

}  // namespace kep::base
