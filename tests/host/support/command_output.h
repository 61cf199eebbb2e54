#ifndef VORNISA_COMMAND_OUTPUT_H
#define VORNISA_COMMAND_OUTPUT_H

#include <string>

/** Runs a shell command and returns its stdout and stderr; fails the test if the command fails. */
std::string outputOf(const std::string& command);

#endif
