#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "adts.h"
#include "command.h"
#include "interrupt.h"
#include "options.h"
#include "output.h"
#include "resource.h"
#include "terminal.h"
#include "values.h"
#include "wav.h"
#include "wav_writer.h"

namespace vncam {
namespace {

constexpr Usage kAacUsage{
    "aac", "encode|decode IN OUT", "Encodes a WAV file of 16-bit PCM samples as AAC (ADTS), or decodes it.",
    "IN and OUT may be - for standard input and output: vncam pcm -o - | vncam aac encode - out.aac\n"
    "The codec adds a delay: decoded sound begins with 1024 priming samples, and its end is padded with\n"
    "silence to a whole access unit of 1024. Ctrl-C stops it; OUT is complete up to that point."};

/** Input per codec call: about 0.1 s of stereo at 48 kHz. Larger pieces delay a pipe by more. */
constexpr std::size_t kPieceBytes = 16 << 10;
constexpr std::size_t kRoomBytes = 256 << 10;

struct AacSettings {
    bool encodes = true;
    std::string in;
    std::string out;
    int bps = 0;
    int bandWidth = 0;
    bool isQuiet = false;
};

/** An encoder or decoder that passes its output to a callback. */
class Codec {
  public:
    explicit Codec(bool encodes) : encodes_(encodes), room_(kRoomBytes) {
        check(VNAcquire(encodes ? VNRES_AAC_ENCODER : VNRES_AAC_DECODER, &id_), "VNAcquire");
    }
    ~Codec() { VNRelease(id_); }
    Codec(const Codec&) = delete;
    Codec& operator=(const Codec&) = delete;

    int id() const { return id_; }

    template <class Take>
    void convert(std::span<const char> input, const Take& take) {
        while (!input.empty()) {
            int consumed = 0;
            const std::size_t written = call(input, consumed);
            take(room_.data(), written);
            input = input.subspan(static_cast<std::size_t>(consumed));
            if (consumed == 0 && written == 0) throw Failure(std::string(name()) + ": consumes no input");
        }
    }

    /** Drains what the codec still holds. */
    template <class Take>
    void finish(const Take& take) {
        int consumed = 0;
        while (const std::size_t written = call({}, consumed)) take(room_.data(), written);
    }

  private:
    const char* name() const { return encodes_ ? "VNAacEncode" : "VNAacDecode"; }

    std::size_t call(std::span<const char> input, int& consumed) {
        const int result =
            (encodes_ ? VNAacEncode : VNAacDecode)(id_, input.data(), static_cast<int>(input.size()),
                                                   &consumed, room_.data(), static_cast<int>(room_.size()));
        if (result < 0) check(result, name());
        return static_cast<std::size_t>(result);
    }

    const bool encodes_;
    int id_ = 0;
    std::vector<char> room_;
};

/** Reads an AAC file or standard input, in pieces as they arrive. */
class PieceReader {
  public:
    explicit PieceReader(const std::string& path)
        : name_(path == "-" ? "standard input" : path),
          file_(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        if (file_ < 0) throw Failure(name_ + ": cannot open: " + std::strerror(errno));
    }
    ~PieceReader() {
        if (file_ > STDERR_FILENO) close(file_);
    }
    PieceReader(const PieceReader&) = delete;
    PieceReader& operator=(const PieceReader&) = delete;

    /** Appends the next bytes. False at the end, or after a stop request. */
    bool append(std::vector<char>& bytes) const {
        const std::size_t before = bytes.size();
        bytes.resize(before + kPieceBytes);
        ssize_t count = -1;
        while (!stopRequested() && (count = read(file_, bytes.data() + before, kPieceBytes)) < 0)
            if (errno != EINTR) throw Failure(name_ + ": cannot read: " + std::strerror(errno));
        bytes.resize(before + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        return count > 0;
    }
    const std::string& name() const { return name_; }

  private:
    const std::string name_;
    const int file_;
};

void encode(const AacSettings& settings) {
    WavReader wav(settings.in);
    Codec codec(true);
    check(VNAacCodecSet(codec.id(), wav.rate(), wav.channels(), 1, settings.bps, settings.bandWidth),
          "VNAacCodecSet");
    Output output(settings.out);
    const auto write = [&](const char* units, std::size_t bytes) { output.write(units, bytes); };
    const std::size_t pieceFrames = kPieceBytes / wav.frameBytes();
    std::uint64_t frames = 0;
    while (!stopRequested()) {
        const std::vector<char> piece = wav.read(pieceFrames);
        if (piece.empty()) break;
        codec.convert(piece, write);
        frames += piece.size() / wav.frameBytes();
    }
    codec.finish(write);
    output.close();
    if (!settings.isQuiet)
        report("aac", output.name() + ": " + lengthText(static_cast<double>(frames) / wav.rate()) + ", " +
                          countText(output.bytes(), "byte"));
}

void decode(const AacSettings& settings) {
    const PieceReader reader(settings.in);
    std::vector<char> piece;
    std::optional<AdtsUnit> first;
    while (!(first = readAdts(piece)) && piece.size() < kPieceBytes && reader.append(piece)) continue;
    if (!first) throw Failure(reader.name() + ": not an ADTS stream");
    if (first->channels == 0)
        throw Failure(reader.name() + ": number of channels missing in the ADTS headers");
    Codec codec(false);
    Output output(settings.out);
    WavWriter wav(output, first->rate, first->channels);
    std::size_t written = 0;
    const auto write = [&](const char* samples, std::size_t bytes) {
        wav.write(samples, bytes);
        written += bytes;
    };
    AdtsFollower units;
    do {
        units.add(piece);
        codec.convert(piece, write);
        piece.clear();
    } while (reader.append(piece));
    codec.finish(write);
    wav.finish();
    output.close();
    if (units.bytesOfUnit() > 0 && !stopRequested())
        report("aac", reader.name() + ": cut short: last access unit has " +
                          std::to_string(units.bytesPresent()) + " of " +
                          std::to_string(units.bytesOfUnit()) + " bytes");
    const std::size_t frames = written / (static_cast<std::size_t>(first->channels) * sizeof(std::int16_t));
    if (!settings.isQuiet)
        report("aac", output.name() + ": " + lengthText(static_cast<double>(frames) / first->rate) + ", " +
                          std::to_string(frames) + " samples");
}

std::optional<AacSettings> parseAac(int argc, char** argv) {
    AacSettings settings;
    const std::vector<Option> options = {
        {"bps", "N", "encode: bits per second; 0 for 64000 per channel (0)",
         bitRateInto(settings.bps, "--bps", 0, 2'000'000)},
        {"bandwidth", "HZ", "encode: highest frequency; 0 to derive it from the bit rate (0)",
         integerInto(settings.bandWidth, "--bandwidth", 0, 48'000)},
        {"quiet", nullptr, "no summary", [&](const std::string&) { settings.isQuiet = true; }},
    };
    std::vector<std::string> operands;
    if (!parseOptions(argc, argv, kAacUsage, options, operands)) return std::nullopt;
    constexpr const char* kNames[] = {"encode or decode", "IN", "OUT"};
    if (operands.size() < std::size(kNames))
        throw UsageError(std::string("missing operand: ") + kNames[operands.size()]);
    if (operands.size() > std::size(kNames)) throw UsageError("unexpected argument '" + operands[3] + "'");
    if (operands[0] != "encode" && operands[0] != "decode")
        throw UsageError("'" + operands[0] + "': not encode or decode");
    settings.encodes = operands[0] == "encode";
    settings.in = operands[1];
    settings.out = operands[2];
    std::error_code none;
    // Opening OUT would truncate IN.
    if (settings.in != "-" && std::filesystem::equivalent(settings.in, settings.out, none))
        throw UsageError("IN and OUT are the same file: " + settings.out);
    return settings;
}

}  // namespace

int runAac(int argc, char** argv) {
    const auto settings = parseAac(argc, argv);
    if (!settings) return exitOk;
    try {
        settings->encodes ? encode(*settings) : decode(*settings);
    } catch (const ClosedPipe&) {
        // A normal end.
    }
    return exitOk;
}

}  // namespace vncam
