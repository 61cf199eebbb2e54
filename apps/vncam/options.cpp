#include "options.h"

#include <getopt.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "command.h"

namespace vncam {
namespace {

// Return values of getopt_long for our own options; below every index into the command's options.
enum : int { helpOption = 'h', versionOption = 'V', firstOwnOption = 256 };

std::vector<option> getoptTable(const std::vector<Option>& options) {
    std::vector<option> table;
    int value = firstOwnOption;
    for (const Option& own : options)
        table.push_back({own.name, own.value ? required_argument : no_argument, nullptr, value++});
    table.push_back({"help", no_argument, nullptr, helpOption});
    table.push_back({"version", no_argument, nullptr, versionOption});
    table.push_back({nullptr, 0, nullptr, 0});
    return table;
}

void printHelp(const Usage& usage, const std::vector<Option>& options) {
    std::printf("Usage: vncam %s [OPTION]...%s%s\n%s\n\nOptions:\n", usage.command,
                *usage.arguments ? " " : "", usage.arguments, usage.about);
    std::vector<std::pair<std::string, std::string>> rows;
    for (const Option& own : options)
        rows.emplace_back((own.letter ? std::string("-") + own.letter + ", --" : std::string("--")) +
                              own.name + (own.value ? std::string(" ") + own.value : ""),
                          own.help);
    rows.emplace_back("--help", "show this help");
    rows.emplace_back("--version", "show the version");
    std::size_t widest = 0;
    for (const auto& row : rows) widest = std::max(widest, row.first.size());
    for (const auto& [name, help] : rows)
        std::printf("  %-*s  %s\n", static_cast<int>(widest), name.c_str(), help.c_str());
    if (*usage.notes) std::printf("\n%s\n", usage.notes);
}

/** The option as the user wrote it, without a value after "=". */
std::string writtenOption(char** argv) {
    const std::string written = argv[optind - 1];
    return written.substr(0, written.find('='));
}

[[noreturn]] void refuseOption(char** argv) {
    if (optopt >= firstOwnOption || (optopt != 0 && std::strncmp(argv[optind - 1], "--", 2) == 0))
        throw UsageError("option '" + writtenOption(argv) + "' takes no value");
    if (optopt != 0) throw UsageError(std::string("unknown option '-") + static_cast<char>(optopt) + "'");
    throw UsageError("unknown option '" + writtenOption(argv) + "'");
}

/** Short options for getopt_long, each followed by a colon if it takes a value. */
std::string shortForms(const Usage& usage, const std::vector<Option>& options) {
    std::string letters = usage.isPrefix ? "+:h" : ":h";
    for (const Option& own : options) {
        if (own.letter) letters.append(1, own.letter).append(own.value ? ":" : "");
    }
    return letters;
}

const Option& optionOf(int found, const std::vector<Option>& options, char** argv) {
    if (found >= firstOwnOption) return options[static_cast<std::size_t>(found - firstOwnOption)];
    const auto own = std::ranges::find_if(options, [&](const Option& one) { return one.letter == found; });
    if (own == options.end()) refuseOption(argv);
    return *own;
}

}  // namespace

void printVersion() {
    std::puts("vncam " VNCAM_VERSION);
}

bool parseOptions(int argc, char** argv, const Usage& usage, const std::vector<Option>& options,
                  std::vector<std::string>& operands) {
    const std::vector<option> table = getoptTable(options);
    const std::string letters = shortForms(usage, options);
    opterr = 0;
    optind = 0;  // glibc: 0 restarts the scan and rereads the "+" of `letters`
    for (;;) {
        const int found = getopt_long(argc, argv, letters.c_str(), table.data(), nullptr);
        if (found == -1) break;
        if (found == helpOption) {
            printHelp(usage, options);
            return false;
        }
        if (found == versionOption) {
            printVersion();
            return false;
        }
        if (found == ':') throw UsageError("option '" + writtenOption(argv) + "' needs a value");
        optionOf(found, options, argv).apply(optarg ? optarg : "");
    }
    operands.assign(argv + optind, argv + argc);
    return true;
}

}  // namespace vncam
