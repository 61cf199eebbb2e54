#include <cstdio>
#include <string>
#include <vector>

#include "command.h"
#include "interrupt.h"
#include "options.h"
#include "recordings/failure.h"
#include "recordings/recovery.h"
#include "terminal.h"

namespace vncam {
namespace {

using recordings::Damage;
using recordings::RecordingCheck;
using recordings::Recovery;

constexpr Usage kUsage{
    "recover", "DIR",
    "Finishes the recordings in DIR that a power cut or a crash has left under their temporary\n"
    "names, NAME.part: checks them, has players skip what is damaged, and names them NAME.",
    "Readable data stays in place: data behind a hole is kept, and each hole is reported.\n"
    "Only the end of a transport stream may be cut off, within its last picture; what was there is\n"
    "then in NAME.rest. No other file is overwritten: a name that is taken gets a number. A file in\n"
    "which nothing can be played, or that is still being written, is reported and left.\n"
    "Exit status 1: a file could not be read, changed or renamed."};

/** Damages reported per file, one line each. */
constexpr std::size_t kMostLines = 20;

std::string packetsText(std::uint64_t packets) {
    return (packets == 0 ? "no packet" : countText(packets, "packet")) + " damaged";
}

std::string text(const Damage& damage) {
    using Kind = Damage::Kind;
    const std::string place =
        " at byte " + std::to_string(damage.begin) + ": " + countText(damage.end - damage.begin, "byte");
    switch (damage.kind) {
        case Kind::header:
            return "header" + place + ", restored from its copy";
        case Kind::samples:
            return "hole" + place + ", " + packetsText(damage.packets);
        case Kind::fragment:
            return "hole" + place + ", skipped";
        case Kind::end:
            break;
    }
    return "end" + place + ", incomplete";
}

/** What was done, or with `planned` would be done. */
std::string told(const std::string& path, const Recovery& recovery, bool planned) {
    const RecordingCheck& check = recovery.check;
    if (!recovery.recovered()) return path + (planned ? ": would be" : ":") + " unchanged: " + check.reason;
    std::string all =
        path + (planned ? " would be " : " -> ") + recovery.path + ": " + lengthText(check.seconds);
    std::size_t lines = 0;
    for (const Damage& damage : check.damages) {
        if (++lines > kMostLines) continue;
        all += "\n  " + text(damage);
        if (damage.kind == Damage::Kind::end && recovery.cut > 0)
            all += recovery.rest.empty() ? ", cut off: all zeros" : ", moved to " + recovery.rest;
    }
    if (lines > kMostLines) all += "\n  and " + std::to_string(lines - kMostLines) + " more";
    return all;
}

/** Recovers the files one by one, or only reports what would be done; false when one fails. */
bool recoverAll(const std::vector<std::string>& paths, bool planned) {
    bool good = true;
    for (const std::string& path : paths) {
        if (stopRequested()) throw Failure("interrupted before " + path);
        try {
            const Recovery recovery =
                planned ? recordings::planRecovery(path) : recordings::recoverFile(path);
            std::puts(told(path, recovery, planned).c_str());
        } catch (const recordings::Failure& failure) {
            report("recover", failure.what());
            good = false;
        }
    }
    return good;
}

}  // namespace

int runRecover(int argc, char** argv) {
    bool planned = false;
    const std::vector<Option> options = {
        {"dry-run", nullptr, "report what would be done, change nothing",
         [&](const std::string&) { planned = true; }, 'n'},
    };
    std::vector<std::string> operands;
    if (!parseOptions(argc, argv, kUsage, options, operands)) return exitOk;
    if (operands.empty()) throw UsageError("missing operand: the folder of the recordings");
    if (operands.size() > 1) throw UsageError("unexpected argument '" + operands[1] + "'");
    const std::vector<std::string> paths = recordings::unfinishedIn(operands.front());
    if (paths.empty()) report("recover", operands.front() + ": no unfinished recordings");
    return recoverAll(paths, planned) ? exitOk : exitFailure;
}

}  // namespace vncam
