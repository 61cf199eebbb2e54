#ifndef VORNISA_TESTS_COMMANDS_H
#define VORNISA_TESTS_COMMANDS_H

#include <string>

namespace scripted {

/**
 * Commands are delivered as steps with their "cmd" in the name, "Factory::Run aeflick" for instance. From now
 * on the receiver answers this one with "ret", until resetReplies.
 */
void replyTo(const std::string& cmd, const std::string& ret);
void resetReplies();

}  // namespace scripted

#endif
