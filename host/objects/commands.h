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
 * The receiver of a command of the whole process, for as long as this lives. Names compare without case; a
 * name that is taken is refused with an error line. A call under way when this goes is still finished.
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
