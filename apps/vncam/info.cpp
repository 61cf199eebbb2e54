#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "command.h"
#include "interrupt.h"
#include "json.h"
#include "options.h"
#include "recordings/failure.h"
#include "recordings/mp4_info.h"
#include "terminal.h"

namespace vncam {
namespace {

using recordings::Mp4Info;
using recordings::Mp4Track;

constexpr Usage kInfoUsage{
    "info", "FILE...",
    "Shows length, tracks and fragments of MP4 files, also of unfinished and damaged ones.",
    "A fragmented file is finished when it has an index of all fragments. LENGTH and FRAGMENTS\n"
    "cover its complete fragments.\n"
    "Exit status 1: a file could not be read, or is not an MP4 file."};

/** The contents of a file, or why it could not be read. */
struct Row {
    std::string file;
    std::optional<Mp4Info> info;
    std::string error;
};

Row read(const std::string& file) {
    try {
        return {file, recordings::mp4Info(file), {}};
    } catch (const recordings::Failure& failure) {
        return {file, std::nullopt, failure.what()};
    }
}

/** Four-character codes come from the file, and may be any bytes. */
std::string printable(std::string text) {
    std::ranges::replace_if(
        text, [](unsigned char c) { return c < 0x20 || c >= 0x7f; }, '?');
    return text.empty() ? "?" : text;
}

std::string text(const Mp4Track& track) {
    std::string all = printable(track.codec);
    if (track.width > 0) all += " " + std::to_string(track.width) + "x" + std::to_string(track.height);
    if (track.sampleRate > 0) all += " " + std::to_string(track.sampleRate) + " Hz";
    if (track.channels > 0) all += " " + countText(static_cast<std::uint64_t>(track.channels), "channel");
    return all;
}

void printTable(const std::vector<Row>& rows) {
    using Line = std::array<std::string, 5>;
    std::vector<Line> lines{{"FILE", "LENGTH", "FRAGMENTS", "FINISHED", "TRACKS"}};
    for (const Row& row : rows) {
        if (!row.info) continue;
        std::string tracks;
        for (const auto& [number, track] : row.info->tracks)
            tracks += (tracks.empty() ? "" : ", ") + text(track);
        lines.push_back({row.file, lengthText(static_cast<double>(row.info->milliseconds) / 1000),
                         std::to_string(row.info->fragments), row.info->isFinished ? "yes" : "no", tracks});
    }
    if (lines.size() == 1) return;
    std::array<std::size_t, 5> widths{};
    for (const Line& line : lines)
        for (std::size_t i = 0; i + 1 < line.size(); ++i) widths[i] = std::max(widths[i], line[i].size());
    for (const Line& line : lines) {
        std::string all;
        for (std::size_t i = 0; i < line.size(); ++i) {
            all += line[i];
            if (i + 1 < line.size()) all.append(widths[i] - line[i].size() + 2, ' ');
        }
        std::puts(all.c_str());
    }
}

std::string json(std::uint32_t number, const Mp4Track& track) {
    std::string all = "{\"number\": " + std::to_string(number) +
                      ", \"handler\": " + jsonText(printable(track.handler)) +
                      ", \"codec\": " + jsonText(printable(track.codec)) +
                      ", \"timescale\": " + std::to_string(track.timescale);
    if (track.width > 0)
        all +=
            ", \"width\": " + std::to_string(track.width) + ", \"height\": " + std::to_string(track.height);
    if (track.channels > 0)
        all += ", \"sample_rate\": " + std::to_string(track.sampleRate) +
               ", \"channels\": " + std::to_string(track.channels);
    return all + "}";
}

void printJson(const std::vector<Row>& rows) {
    std::string all = "[";
    for (const Row& row : rows) {
        all += (all.size() > 1 ? ",\n {" : "\n {") + ("\"file\": " + jsonText(row.file));
        if (row.info) {
            all += ", \"duration_ms\": " + std::to_string(row.info->milliseconds) +
                   ", \"fragments\": " + std::to_string(row.info->fragments) +
                   ", \"finished\": " + (row.info->isFinished ? "true" : "false") + ", \"tracks\": [";
            const char* separator = "";
            for (const auto& [number, track] : row.info->tracks) {
                all += separator + json(number, track);
                separator = ", ";
            }
            all += "]}";
        } else {
            all += ", \"error\": " + jsonText(row.error) + "}";
        }
    }
    std::puts((all + "\n]").c_str());
}

}  // namespace

int runInfo(int argc, char** argv) {
    bool asJson = false;
    const std::vector<Option> options = {
        {"json", nullptr, "print a JSON array with an object per file; a failed one has an error",
         [&](const std::string&) { asJson = true; }},
    };
    std::vector<std::string> files;
    if (!parseOptions(argc, argv, kInfoUsage, options, files)) return exitOk;
    if (files.empty()) throw UsageError("missing operand: FILE");
    std::vector<Row> rows;
    for (const std::string& file : files) {
        if (stopRequested()) throw Failure("interrupted before " + file);
        rows.push_back(read(file));
    }
    if (asJson) {
        printJson(rows);
    } else {
        printTable(rows);
    }
    for (const Row& row : rows)
        if (!row.info) report("info", row.error);
    return std::ranges::all_of(rows, [](const Row& row) { return row.info.has_value(); }) ? exitOk
                                                                                          : exitFailure;
}

}  // namespace vncam
