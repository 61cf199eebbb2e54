#include <atomic>
#include <chrono>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <exception>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "command.h"
#include "interrupt.h"
#include "message.h"
#include "options.h"
#include "output.h"
#include "resource.h"
#include "terminal.h"
#include "values.h"
#include "waiting.h"

namespace vncam {
namespace {

constexpr Usage kDemuxUsage{
    "demux", "FILE", "Extracts the streams of an MP4 file: H.264 as a byte stream, AAC with ADTS headers.",
    "FILE of --video or --audio may be - for standard output:\n"
    "vncam demux --video - rec.mp4 | ffplay -\n"
    "--list prints a line for each packet: video or audio, its time in seconds, its size in\n"
    "bytes, and key for a key frame. Video and audio packets are interleaved as they are read."};

struct DemuxSettings {
    std::string file;
    std::string video;
    std::string audio;
    double seek = 0;
    bool lists = false;
    bool isQuiet = false;
};

/** Writes or lists the packets of a file. Its callbacks run on threads of the framework. */
class Demultiplexer {
  public:
    explicit Demultiplexer(const DemuxSettings& settings) : settings_(settings) {
        if (!settings.video.empty()) video_.output.emplace(settings.video);
        if (!settings.audio.empty()) audio_.output.emplace(settings.audio);
    }

    /** False when the reader of a pipe closed it. */
    bool run() {
        VNDemuxRes record = {
            settings_.file.c_str(), std::llround(settings_.seek * 1000), takePacket, takeTrack, 0, this};
        {
            const Resource resource(VNRES_DEMUX);
            Inbox inbox(resource.id());
            check(VNDemuxSet(resource.id(), &record), "VNDemuxSet");
            resource.start();
            awaitEnd(inbox);
            // Releasing the resource waits for running callbacks.
        }
        try {
            if (failure_) std::rethrow_exception(failure_);
            for (Stream* const stream : {&video_, &audio_})
                if (stream->output) stream->output->close();
        } catch (const ClosedPipe&) {
            return false;
        }
        if (hasFailed_) throw Failure(settings_.file + ": cannot read to the end");
        return true;
    }

    std::string summary() const {
        return settings_.file + ": " + countText(video_.packets, "picture") + ", " +
               countText(audio_.packets, "audio packet");
    }

  private:
    struct Stream {
        std::optional<Output> output;
        std::atomic<std::uint64_t> packets{0};
    };

    void awaitEnd(Inbox& inbox) {
        while (!isOver_ && !stopRequested()) {
            const auto message = inbox.next(kPollInterval);
            const std::string name = message ? messageValue(*message, "name") : "";
            if (name == "failed") hasFailed_ = true;
            if (name == "endOfFile") return;
        }
    }

    static void takePacket(const VNDemuxPacket* packet) {
        static_cast<Demultiplexer*>(packet->user)->take(*packet);
    }
    static void takeTrack(const VNDemuxTrack* track) {
        auto& self = *static_cast<Demultiplexer*>(track->user);
        const std::lock_guard lock(self.mutex_);
        self.isVideo_[track->media] = messageValue(track->desc, "type") == "video";
    }

    // No exception may leave a callback.
    void take(const VNDemuxPacket& packet) try {
        if (isOver_) return;
        bool video = false;
        {
            const std::lock_guard lock(mutex_);
            video = isVideo_[packet.media];
            if (settings_.lists) list(packet, video);
        }
        Stream& stream = video ? video_ : audio_;
        ++stream.packets;
        if (stream.output)
            stream.output->write(static_cast<const char*>(packet.data),
                                 static_cast<std::size_t>(packet.size));
    } catch (...) {
        const std::lock_guard lock(mutex_);
        if (!failure_) failure_ = std::current_exception();
        isOver_ = true;
    }

    static void list(const VNDemuxPacket& packet, bool video) {
        const std::int64_t whole = packet.pts_ms < 0 ? -packet.pts_ms : packet.pts_ms;
        const int length = std::printf(
            "%s %s%" PRId64 ".%03d %d%s\n", video ? "video" : "audio", packet.pts_ms < 0 ? "-" : "",
            whole / 1000, static_cast<int>(whole % 1000), packet.size, video && packet.iskey ? " key" : "");
        if (length < 0) throw ClosedPipe();
    }

    const DemuxSettings& settings_;
    Stream video_;
    Stream audio_;
    std::mutex mutex_;
    std::map<const VNMedia*, bool> isVideo_;
    std::exception_ptr failure_;
    std::atomic<bool> isOver_{false};
    bool hasFailed_ = false;
};

std::optional<DemuxSettings> parseDemux(int argc, char** argv) {
    DemuxSettings settings;
    const auto fileOption = [](const char* name, std::string& file) {
        return [name, &file](const std::string& text) {
            if (text.empty()) throw UsageError(std::string(name) + " needs a file name");
            file = text;
        };
    };
    const std::vector<Option> options = {
        {"video", "FILE", "write the pictures", fileOption("--video", settings.video)},
        {"audio", "FILE", "write the sound", fileOption("--audio", settings.audio)},
        {"seek", "S", "begin at the key frame at or before this second (0)",
         [&](const std::string& text) { settings.seek = parseSeconds("--seek", text); }},
        {"list", nullptr, "print a line for each packet", [&](const std::string&) { settings.lists = true; }},
        {"quiet", nullptr, "no summary", [&](const std::string&) { settings.isQuiet = true; }},
    };
    std::vector<std::string> operands;
    if (!parseOptions(argc, argv, kDemuxUsage, options, operands)) return std::nullopt;
    if (operands.empty()) throw UsageError("missing operand: FILE");
    if (operands.size() > 1) throw UsageError("unexpected argument '" + operands[1] + "'");
    settings.file = operands.front();
    if (settings.video.empty() && settings.audio.empty() && !settings.lists)
        throw UsageError("nothing to write; give --video, --audio or --list");
    if ((settings.video == "-") + (settings.audio == "-") + settings.lists > 1)
        throw UsageError("only one of --video, --audio and --list can use standard output");
    return settings;
}

}  // namespace

int runDemux(int argc, char** argv) {
    const auto settings = parseDemux(argc, argv);
    if (!settings) return exitOk;
    Demultiplexer demultiplexer(*settings);
    if (demultiplexer.run() && !settings->isQuiet) report("demux", demultiplexer.summary());
    return exitOk;
}

}  // namespace vncam
