#include <cstdio>
#include <string>
#include <vector>

#include "command.h"
#include "interrupt.h"
#include "options.h"
#include "recovery.h"
#include "terminal.h"

namespace vncam {
namespace {

constexpr Usage usage{
    "recover", "DIR",
    "Finishes the recordings in DIR that a power cut or a crash has left under their temporary\n"
    "names, NAME.part: checks them, cuts off what is not whole at the end, and names them NAME.",
    "No other file is overwritten: a name that is taken gets a number. A file in which nothing can\n"
    "be played, or to which something is still written, is told and left.\n"
    "Exit status 1 tells of a file that could not be read, cut or renamed."};

std::string lengthText(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f s", seconds);
    return text;
}

std::string told(const std::string& path, const Recovery& recovery) {
    if (!recovery.recovered()) return path + ": left as it is: " + recovery.check.reason;
    std::string text = path + " -> " + recovery.path + ": " + lengthText(recovery.check.seconds);
    if (recovery.cut) text += ", " + std::to_string(recovery.cut) + " bytes cut off";
    return text;
}

/** Recovers one file after the other; false when one has failed. */
bool recoverAll(const std::vector<std::string>& paths) {
    bool good = true;
    for (const std::string& path : paths) {
        if (stopRequested()) throw Failure("interrupted before " + path);
        try {
            std::puts(told(path, recoverFile(path)).c_str());
        } catch (const Failure& failure) {
            report("recover", failure.what());
            good = false;
        }
    }
    return good;
}

}  // namespace

int runRecover(int argc, char** argv) {
    std::vector<std::string> operands;
    if (!parseOptions(argc, argv, usage, {}, operands)) return exitOk;
    if (operands.empty()) throw UsageError("which folder? Give the one with the recordings");
    if (operands.size() > 1) throw UsageError("unexpected argument '" + operands[1] + "'");
    const std::vector<std::string> paths = unfinishedIn(operands.front());
    if (paths.empty()) report("recover", operands.front() + ": no unfinished recordings");
    return recoverAll(paths) ? exitOk : exitFailure;
}

}  // namespace vncam
