#include "record_settings.h"

#include <algorithm>
#include <array>
#include <vector>

#include "command.h"
#include "options.h"

namespace vncam {
namespace {

/** The sizes that VNRecMan2 supports. */
constexpr std::array<Size, 3> kSizes{{{1920, 1080}, {1280, 720}, {640, 360}}};

constexpr int kLeastBps = 10000;
constexpr int kMostBps = 200000000;

constexpr Usage kRecordUsage{
    "record", "", "Records video and audio into files of --segment seconds each.",
    "NAME may contain strftime fields, filled in when a file is opened: rec_%H-%M-%S.mp4. It must end in\n"
    ".mp4 or .ts. If the name exists, the file gets a number: a.mp4, a-1.mp4. While open, it is called\n"
    "NAME.part. Each second is on the disk before the next one: after a power cut `vncam recover` finishes\n"
    "the file; with --plain it recovers the pictures only.\n"
    "On a terminal the keys + and - change the volume of the microphone, m mutes it.\n"
    "The recording ends after --seconds or on Ctrl-C; the file names go to standard output. If --seconds is\n"
    "a multiple of --segment, exactly that many full-length files remain: vncam removes a further file that\n"
    "it has already begun.\n"
    "Each --also records the same film in another size, into files with the size in their names:\n"
    "NAME_640x360.mp4. The other options apply to all recordings.\n"
    "--keep, --keep-days and --free delete the oldest finished files of these recordings, including those\n"
    "of earlier runs, and report each. Open files and files with other names are kept. BYTES takes the\n"
    "suffixes k, M and G for 10^3, 10^6 and 10^9."};

Size recordedSize(const char* option, const std::string& text) {
    const Size size = parseSize(option, text);
    const auto same = [&](const Size& known) {
        return known.width == size.width && known.height == size.height;
    };
    if (std::ranges::none_of(kSizes, same))
        throw UsageError(std::string(option) + " " + text +
                         ": recordings are 1920x1080, 1280x720 or 640x360");
    return size;
}

/** WIDTHxHEIGHT:BITRATE. */
RecordSettings::Also parseAlso(const std::string& text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos) throw UsageError("--also '" + text + "': not WIDTHxHEIGHT:BITRATE");
    return {recordedSize("--also", text.substr(0, colon)),
            parseBitRate("--also", text.substr(colon + 1), kLeastBps, kMostBps)};
}

/** A part of the path. It must not contain the separators of a description. */
std::string namePart(const char* option, const std::string& text) {
    if (text.empty()) throw UsageError(std::string(option) + " needs a name");
    if (text.find_first_of(",{}") != std::string::npos)
        throw UsageError(std::string(option) + " '" + text + "': a name must not contain , { or }");
    return text;
}

std::vector<Option> recordOptions(RecordSettings& settings) {
    return {
        {"size", "WxH", "picture size: 1920x1080, 1280x720 or 640x360 (1920x1080)",
         [&](const std::string& text) { settings.size = recordedSize("--size", text); }},
        {"fps", "N", "frames per second, 1 to 30 (30)", integerInto(settings.fps, "--fps", 1, 30)},
        {"bps", "N", "video bits per second (2M)", bitRateInto(settings.bps, "--bps", kLeastBps, kMostBps)},
        {"gop", "N", "frames from one key frame to the next (15)",
         integerInto(settings.gop, "--gop", 1, 100000)},
        {"segment", "S", "seconds per file (60)", integerInto(settings.segment, "--segment", 1, 86400)},
        {"plain", nullptr, "write .mp4 without fragments, with its index at the end",
         [&](const std::string&) { settings.plain = true; }},
        {"dir", "DIR", "folder for the files (.)",
         [&](const std::string& text) { settings.folder = namePart("--dir", text); }},
        {"name", "NAME", "name of the files (rec_%Y-%m-%d_%H-%M-%S.mp4)",
         [&](const std::string& text) { settings.name = namePart("--name", text); }},
        {"seconds", "S", "length of the recording; 0 for no end (0)",
         [&](const std::string& text) { settings.seconds = parseSeconds("--seconds", text); }},
        {"also", "WxH:N", "record in this size and bit rate, too; may be given twice",
         [&](const std::string& text) { settings.also.push_back(parseAlso(text)); }},
        {"keep", "BYTES", "delete the oldest files while their total exceeds this",
         [&](const std::string& text) { settings.keepBytes = parseBytes("--keep", text); }},
        {"keep-days", "DAYS", "delete files older than this",
         [&](const std::string& text) { settings.keepSeconds = parseDays("--keep-days", text); }},
        {"free", "BYTES", "delete the oldest files while less than this is free on the disk",
         [&](const std::string& text) { settings.freeBytes = parseBytes("--free", text); }},
        {"quiet", nullptr, "no progress and no summary", [&](const std::string&) { settings.quiet = true; }},
    };
}

void checkName(const RecordSettings& settings) {
    const std::string& name = settings.name;
    if (name.find('/') != std::string::npos)
        throw UsageError("--name '" + name + "': must not contain a folder; use --dir");
    const bool isMp4 = name.size() > 4 && name.ends_with(".mp4");
    if (!isMp4 && !(name.size() > 3 && name.ends_with(".ts")))
        throw UsageError("--name '" + name + "': must end in .mp4 or .ts");
    if (settings.plain && !isMp4)
        throw UsageError("--name '" + name + "': --plain needs a name that ends in .mp4");
}

void checkSizes(const RecordSettings& settings) {
    std::vector<std::string> sizes;
    for (const RecordSettings& each : settings.recordings()) {
        const std::string size = each.size.text();
        if (std::ranges::find(sizes, size) != sizes.end())
            throw UsageError("--also " + size + ": this size is already recorded");
        sizes.push_back(size);
    }
}

}  // namespace

std::vector<RecordSettings> RecordSettings::recordings() const {
    std::vector<RecordSettings> all{*this};
    for (const Also& other : also) {
        RecordSettings& each = all.emplace_back(*this);
        each.size = other.size;
        each.bps = other.bps;
        each.name.insert(name.rfind('.'), "_" + other.size.text());
    }
    return all;
}

std::optional<RecordSettings> parseRecord(int argc, char** argv) {
    RecordSettings settings;
    std::vector<std::string> operands;
    if (!parseOptions(argc, argv, kRecordUsage, recordOptions(settings), operands)) return std::nullopt;
    if (!operands.empty()) throw UsageError("unexpected argument '" + operands.front() + "'");
    checkName(settings);
    checkSizes(settings);
    return settings;
}

}  // namespace vncam
