#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>

#include "command.h"
#include "interrupt.h"
#include "options.h"
#include "output.h"
#include "terminal.h"

namespace vncam {
namespace {

constexpr Command kCommands[] = {
    {"live", "film: write live H.264 and AAC to files or a pipe", runLive},
    {"watch", "show the live picture in a window, with its sound", runWatch},
    {"pcm", "capture the microphone's samples, or show its level", runPcm},
    {"play", "play a WAV file on the loudspeaker", runPlay},
    {"record", "record video and audio into segments", runRecord},
    {"event", "record a clip that begins before its event", runEvent},
    {"snap", "take a still picture", runSnap},
    {"recover", "recover recordings that a power cut left unfinished", runRecover},
    {"info", "show length, tracks and fragments of MP4 files", runInfo},
    {"demux", "extract the streams of an MP4 file, or list its packets", runDemux},
    {"aac", "encode a WAV file as AAC, or decode it", runAac},
    {"volume", "set the volume of microphone or speaker for another command", runVolume},
    {"mute", "mute microphone or speaker for another command", runMute},
    {"zone", "cover parts of the picture", runZone},
    {"stamp", "write text and time into the picture", runStamp},
    {"flip", "mirror the picture", runFlip},
    {"flicker", "avoid the flicker of lamps", runFlicker},
    {"detect", "find people in the picture", runDetect},
    {"qr", "read codes in the picture", runQr},
    {"sources", "list resources, settings and devices", runSources},
};

const Command* findCommand(const char* name) {
    for (const Command& command : kCommands)
        if (std::strcmp(command.name, name) == 0) return &command;
    return nullptr;
}

void printHelp(std::FILE* out) {
    std::fputs(
        "Usage: vncam COMMAND [OPTION]...\n"
        "A camera application on the command line.\n\n"
        "Commands:\n",
        out);
    for (const Command& command : kCommands) std::fprintf(out, "  %-10s %s\n", command.name, command.summary);
    std::fputs(
        "\n"
        "      --help     show this help; `vncam help COMMAND` shows the help of a command\n"
        "      --version  show the version\n\n"
        "Exit status: 0 success, 1 failure, 2 usage error.\n",
        out);
}

int wrongCommandLine(const std::string& who, const std::string& what) {
    std::fprintf(stderr, "%s: %s\nTry '%s --help'.\n", who.c_str(), what.c_str(), who.c_str());
    return exitUsage;
}

/** Colours and source positions are for developers at a terminal. */
bool areColoursShown() {
    const char* const refused = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    return isatty(STDERR_FILENO) && !(refused && *refused) &&
           !(terminal && std::strcmp(terminal, "dumb") == 0);
}

/** Only the framework's log gives the reason of a failed call; it keeps the lines that KEP_HOST_LOG hides. */
void showHiddenErrors() {
    void* const found = dlsym(RTLD_DEFAULT, "kepHostHiddenErrors");
    if (found) std::fputs(reinterpret_cast<const char* (*)()>(found)(), stderr);
}

int runCommand(const Command& command, int argc, char** argv) {
    const std::string who = std::string("vncam ") + command.name;
    // Pre-recording costs an encoder and only events need it; `volume` and `mute` may run `event`.
    if (command.run != runEvent && command.run != runVolume && command.run != runMute)
        setenv("KEP_HOST_PRERECORD", "attached", 0);
    if (!areColoursShown()) setenv("KEP_HOST_LOG_FORMAT", "message", 0);
    try {
        return command.run(argc, argv);
    } catch (const UsageError& error) {
        return wrongCommandLine(who, error.what());
    } catch (const ClosedPipe&) {
        return exitOk;
    } catch (const std::exception& error) {
        clearProgress();
        showHiddenErrors();
        report(command.name, error.what());
        return exitFailure;
    }
}

/** `help`, or `help COMMAND`. */
int showHelp(int argc, char** argv) {
    if (argc == 1) {
        printHelp(stdout);
        return exitOk;
    }
    const Command* const command = findCommand(argv[1]);
    if (!command) return wrongCommandLine("vncam", std::string("unknown command '") + argv[1] + "'");
    char help[] = "--help";
    char* arguments[] = {argv[1], help, nullptr};
    return runCommand(*command, 2, arguments);
}

}  // namespace

int runCommandLine(int argc, char** argv) {
    installStopSignals();
    if (argc < 1) {
        printHelp(stderr);
        return exitUsage;
    }
    const char* first = argv[0];
    if (std::strcmp(first, "--help") == 0 || std::strcmp(first, "-h") == 0) {
        printHelp(stdout);
        return exitOk;
    }
    if (std::strcmp(first, "--version") == 0) {
        printVersion();
        return exitOk;
    }
    if (std::strcmp(first, "help") == 0) return showHelp(argc, argv);
    if (first[0] == '-') return wrongCommandLine("vncam", std::string("unknown option '") + first + "'");
    const Command* command = findCommand(first);
    if (!command) return wrongCommandLine("vncam", std::string("unknown command '") + first + "'");
    return runCommand(*command, argc, argv);
}

}  // namespace vncam
