#ifndef KEP_HOST_COMMANDS_H
#define KEP_HOST_COMMANDS_H

#include <functional>
#include <string>

#include "kep/attr_set.h"
#include "kep/visibility.h"

namespace kep::host {

/** Handles the arguments of a command and may add to them; false refuses them. */
using CommandReceiver = std::function<bool(base::AttrSet& arguments)>;

/**
 * Registers the process-wide receiver of a command; the destructor unregisters it, and neither interrupts a
 * running call nor waits for it. Names compare without case. A duplicate is refused with an error line.
 */
class KEP_API CommandRegistration {
  public:
    CommandRegistration(const char* name, CommandReceiver receiver);
    CommandRegistration(const CommandRegistration&) = delete;
    CommandRegistration& operator=(const CommandRegistration&) = delete;
    ~CommandRegistration();

  private:
    std::string key_;
};

}  // namespace kep::host

#endif
