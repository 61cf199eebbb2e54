#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "command.h"
#include "interrupt.h"
#include "options.h"
#include "recordings/failure.h"
#include "recordings/recovery.h"
#include "recordings/temporary_file.h"
#include "recovered_file.h"
#include "terminal.h"

namespace vncam {
namespace {

namespace fs = std::filesystem;

using Kind = RecoveredFile::Kind;

constexpr Usage kRecoverUsage{
    "recover", "FILE|DIR...",
    "Finishes recordings that a power cut or a crash left under their temporary names, NAME.part: checks\n"
    "them, makes players skip damaged parts, and renames them to NAME. In folders it also removes hidden\n"
    "temporary files of processes that have ended.",
    "Readable data stays in place: data after a hole is kept, and each hole is reported.\n"
    "Only a transport stream may be truncated, within its last picture; the bytes cut off are moved to\n"
    "NAME.rest. No existing file is overwritten: if NAME exists, the file gets a number. A file that has\n"
    "nothing to play, or is still being written, is reported and left unchanged.\n"
    "A plain MP4 that was cut short lacks its index. For H.264 with in-band parameter sets and frame rate,\n"
    "such as that of vncam, recover appends a new index of the pictures. The sound is lost.\n"
    "Each object of --json has the file and its result, \"recovered\", \"unchanged\", \"removed\" or\n"
    "\"failed\"; with --dry-run, the result that a run would have.\n"
    "Exit status 1: a folder or file could not be read, changed, renamed or removed."};

struct Settings {
    bool planned = false;
    bool recursive = false;
    bool asJson = false;
};

class Recoverer {
  public:
    explicit Recoverer(const Settings& settings) : settings_(settings) {}

    void recover(const std::string& operand) {
        std::error_code error;
        if (fs::is_regular_file(operand, error)) {
            recoverRecording(operand);
            return;
        }
        const std::size_t before = count_;
        recoverFolder(operand);
        if (settings_.recursive) recoverFoldersIn(operand);
        if (count_ == before) report("recover", operand + ": no unfinished recordings");
    }

    int finish() const {
        if (settings_.asJson) std::puts(json_.empty() ? "[\n]" : ("[\n " + json_ + "\n]").c_str());
        return failed_ ? exitFailure : exitOk;
    }

  private:
    void recoverFolder(const std::string& folder) {
        attempt(folder, [&] {
            for (const std::string& path : recordings::unfinishedIn(folder)) recoverRecording(path);
            for (const std::string& path : recordings::abandonedIn(folder)) removeTemporary(path);
        });
    }

    /** Recovers the folders in a folder, at any depth, sorted by name. Links are not followed. */
    void recoverFoldersIn(const std::string& folder) {
        std::vector<std::string> folders;
        std::error_code error;
        for (const auto& entry : fs::directory_iterator(folder, error)) {
            if (fs::is_directory(entry.symlink_status(error))) folders.push_back(entry.path());
        }
        std::ranges::sort(folders);
        for (const std::string& inner : folders) {
            recoverFolder(inner);
            recoverFoldersIn(inner);
        }
    }

    void recoverRecording(const std::string& path) {
        stopIfRequested(path);
        attempt(path, [&] {
            take({Kind::recording, path,
                  settings_.planned ? recordings::planRecovery(path) : recordings::recoverFile(path)});
        });
    }

    void removeTemporary(const std::string& path) {
        stopIfRequested(path);
        attempt(path, [&] {
            if (recordings::removeAbandoned(path, settings_.planned)) take({Kind::removed, path});
        });
    }

    template <class Work>
    void attempt(const std::string& path, Work&& work) {
        try {
            work();
        } catch (const recordings::Failure& failure) {
            failed_ = true;
            take({Kind::failed, path, {}, failure.what()});
        }
    }

    /** Prints the results so far before it throws. */
    void stopIfRequested(const std::string& path) const {
        if (!stopRequested()) return;
        finish();
        throw Failure("interrupted before " + path);
    }

    void take(const RecoveredFile& file) {
        ++count_;
        if (file.kind == Kind::failed) report("recover", file.error);
        if (settings_.asJson) {
            json_ += (json_.empty() ? "" : ",\n ") + jsonOf(file);
        } else if (file.kind != Kind::failed) {
            std::puts(textOf(file, settings_.planned).c_str());
        }
    }

    const Settings settings_;
    std::size_t count_ = 0;
    std::string json_;
    bool failed_ = false;
};

}  // namespace

int runRecover(int argc, char** argv) {
    Settings settings;
    const std::vector<Option> options = {
        {"dry-run", nullptr, "report what would be done, change nothing",
         [&](const std::string&) { settings.planned = true; }, 'n'},
        {"recursive", nullptr, "recurse into subfolders; links are not followed",
         [&](const std::string&) { settings.recursive = true; }, 'r'},
        {"json", nullptr, "print a JSON array with an object per file",
         [&](const std::string&) { settings.asJson = true; }},
    };
    std::vector<std::string> operands;
    if (!parseOptions(argc, argv, kRecoverUsage, options, operands)) return exitOk;
    if (operands.empty()) throw UsageError("missing operand: FILE or DIR");
    Recoverer recoverer(settings);
    for (const std::string& operand : operands) recoverer.recover(operand);
    return recoverer.finish();
}

}  // namespace vncam
