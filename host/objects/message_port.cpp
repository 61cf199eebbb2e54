#include "objects/message_port.h"

#include <utility>

namespace kep::host {

MessagePort::~MessagePort() {
    setCallback(nullptr);
}

void MessagePort::setCallback(Callback callback) {
    std::shared_ptr<Dispatcher::Registration> registration;
    if (callback) registration = Dispatcher::registerCallback(std::move(callback));
    {
        const MutexLock lock(mutex_);
        registration_.swap(registration);
        if (registration && registration_) Dispatcher::instance().redirect(registration, registration_);
    }
    if (registration) Dispatcher::instance().end(*registration);
}

void MessagePort::post(std::string message) {
    const MutexLock lock(mutex_);
    if (registration_) Dispatcher::instance().post(registration_, std::move(message));
}

}  // namespace kep::host
