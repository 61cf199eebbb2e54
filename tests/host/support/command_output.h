#ifndef VORNISA_COMMAND_OUTPUT_H
#define VORNISA_COMMAND_OUTPUT_H

#include <string>

/** All that a shell command writes, its complaints included; fails the test when the command fails. */
std::string outputOf(const std::string& command);

#endif
