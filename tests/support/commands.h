#ifndef VORNISA_TESTS_COMMANDS_H
#define VORNISA_TESTS_COMMANDS_H

#include <string>

namespace scripted {

/**
 * Makes the receiver reply to the command `cmd` with "ret", until resetReplies. A command is a step with its
 * "cmd" in the name, "Factory::Run aeflick" for instance.
 */
void replyTo(const std::string& cmd, const std::string& ret);
void resetReplies();

}  // namespace scripted

#endif
