#ifndef VNCAM_COMMAND_H
#define VNCAM_COMMAND_H

#include <stdexcept>

namespace vncam {

/** Exit status of the program. */
enum ExitCode : int { exitOk = 0, exitFailure = 1, exitUsage = 2 };

/** The command line is invalid. */
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/** The command failed. */
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/** One command: `vncam NAME ...`. `run` gets the arguments from the command's name on. */
struct Command {
    const char* name;
    const char* summary;
    int (*run)(int argc, char** argv);
};

/** Runs a command line without the program's name; its first argument is a command or an option. */
int runCommandLine(int argc, char** argv);

int runAac(int argc, char** argv);
int runDemux(int argc, char** argv);
int runDetect(int argc, char** argv);
int runEvent(int argc, char** argv);
int runFlicker(int argc, char** argv);
int runFlip(int argc, char** argv);
int runInfo(int argc, char** argv);
int runLive(int argc, char** argv);
int runMute(int argc, char** argv);
int runPcm(int argc, char** argv);
int runPlay(int argc, char** argv);
int runQr(int argc, char** argv);
int runRecord(int argc, char** argv);
int runRecover(int argc, char** argv);
int runSnap(int argc, char** argv);
int runSources(int argc, char** argv);
int runStamp(int argc, char** argv);
int runVolume(int argc, char** argv);
int runWatch(int argc, char** argv);
int runZone(int argc, char** argv);

}  // namespace vncam

#endif
