#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>

#include "command.h"
#include "interrupt.h"
#include "options.h"
#include "terminal.h"

namespace vncam {
namespace {

constexpr Command commands[] = {
    {"live", "film: write live H.264 and AAC to files or a pipe", runLive},
    {"play", "play a WAV file on the loudspeaker", runPlay},
    {"record", "record picture and sound into files of some seconds each", runRecord},
    {"event", "make a clip that begins before its event", runEvent},
    {"snap", "take a still picture", runSnap},
    {"recover", "finish the recordings that a power cut has left unfinished", runRecover},
    {"sources", "list what can be acquired and what this workstation offers", runSources},
};

const Command* findCommand(const char* name) {
    for (const Command& command : commands)
        if (std::strcmp(command.name, name) == 0) return &command;
    return nullptr;
}

void printHelp(std::FILE* out) {
    std::fputs(
        "Usage: vncam COMMAND [OPTION]...\n"
        "A camera application on the command line.\n\n"
        "Commands:\n",
        out);
    for (const Command& command : commands) std::fprintf(out, "  %-10s %s\n", command.name, command.summary);
    std::fputs(
        "\n"
        "      --help     show this help; `vncam COMMAND --help` shows that of a command\n"
        "      --version  show the version\n\n"
        "Exit status: 0 done, 1 failed, 2 the command line was wrong.\n",
        out);
}

int wrongCommandLine(const std::string& who, const std::string& what) {
    std::fprintf(stderr, "%s: %s\nTry '%s --help'.\n", who.c_str(), what.c_str(), who.c_str());
    return exitUsage;
}

int runCommand(const Command& command, int argc, char** argv) {
    const std::string who = std::string("vncam ") + command.name;
    // What is filmed ahead for events costs an encoder, which only they need.
    if (std::strcmp(command.name, "event") != 0) setenv("KEP_HOST_PRERECORD", "attached", 0);
    try {
        installStopSignals();
        return command.run(argc, argv);
    } catch (const UsageError& error) {
        return wrongCommandLine(who, error.what());
    } catch (const std::exception& error) {
        report(command.name, error.what());
        return exitFailure;
    }
}

int run(int argc, char** argv) {
    if (argc < 2) {
        printHelp(stderr);
        return exitUsage;
    }
    const char* first = argv[1];
    if (std::strcmp(first, "--help") == 0 || std::strcmp(first, "-h") == 0) {
        printHelp(stdout);
        return exitOk;
    }
    if (std::strcmp(first, "--version") == 0) {
        printVersion();
        return exitOk;
    }
    if (first[0] == '-') return wrongCommandLine("vncam", std::string("unknown option '") + first + "'");
    const Command* command = findCommand(first);
    if (!command) return wrongCommandLine("vncam", std::string("unknown command '") + first + "'");
    return runCommand(*command, argc - 1, argv + 1);
}

}  // namespace

}  // namespace vncam

int main(int argc, char** argv) {
    const int code = vncam::run(argc, argv);
    // What was printed counts only once it has arrived; a reader who has gone away is no failure.
    if (std::fflush(stdout) != 0 && errno != EPIPE) {
        std::fprintf(stderr, "vncam: cannot write to standard output: %s\n", std::strerror(errno));
        return vncam::exitFailure;
    }
    return code;
}
