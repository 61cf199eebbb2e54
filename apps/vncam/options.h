#ifndef VNCAM_OPTIONS_H
#define VNCAM_OPTIONS_H

#include <functional>
#include <string>
#include <vector>

namespace vncam {

/** A long option of a command. */
struct Option {
    const char* name;  /**< without the dashes */
    const char* value; /**< name of its value in the help; null for a flag */
    std::string help;
    std::function<void(const std::string& value)> apply; /**< throws UsageError for a bad value */
    char letter = 0;                                     /**< short form; 0 for none */
};

/** The help text around the list of options. */
struct Usage {
    const char* command;
    const char* arguments; /**< operands in the first line; may be empty */
    const char* about;
    const char* notes;     /**< at the end; may be empty */
    bool isPrefix = false; /**< options after the first operand belong to another command */
};

/**
 * Applies the options of a command line in their order and adds `--help` and `--version` to them.
 *
 * @param operands receives the arguments that are not options
 * @return false when help or version was asked for and has been printed
 */
bool parseOptions(int argc, char** argv, const Usage& usage, const std::vector<Option>& options,
                  std::vector<std::string>& operands);

/** Prints name and version to standard output. */
void printVersion();

}  // namespace vncam

#endif
