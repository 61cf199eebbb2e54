#include <algorithm>
#include <string>
#include <vector>

#include "command.h"
#include "interrupt.h"
#include "options.h"
#include "resource.h"
#include "terminal.h"
#include "volume_keys.h"
#include "wav.h"

namespace vncam {
namespace {

constexpr Usage kPlayUsage{
    "play", "FILE.wav", "Plays a WAV file of 16-bit PCM samples on the loudspeaker.",
    "FILE.wav may be - for standard input. On a terminal the keys + and - change the volume\n"
    "of the loudspeaker, m mutes it. Ctrl-C stops playback."};

constexpr int kWritesPerSecond = 50;

std::string progressText(const std::string& name, double second, double length) {
    std::string text = "vncam play  " + name + "  " + clockText(second);
    if (length > 0) text += " / " + clockText(length);
    return text;
}

void feedAll(WavReader& wav, const Resource& player, const std::string& name, bool quiet) {
    const double rate = wav.rate();
    const auto blockFrames = static_cast<std::size_t>(std::max(1, wav.rate() / kWritesPerSecond));
    std::uint64_t fed = 0;
    VolumeKeys keys(SoundDevice::speaker());
    while (!stopRequested()) {
        std::vector<char> block = wav.read(blockFrames);
        if (block.empty()) return;
        check(VNFeed(player.id(), block.data(), static_cast<int>(block.size())), "VNFeed");
        keys.poll();
        fed += block.size() / wav.frameBytes();
        if (!quiet)
            showProgress(progressText(name, static_cast<double>(fed) / rate,
                                      static_cast<double>(wav.frames()) / rate) +
                         "  " + keys.device().text());
    }
}

}  // namespace

int runPlay(int argc, char** argv) {
    bool quiet = false;
    std::vector<std::string> operands;
    const std::vector<Option> options = {
        {"quiet", nullptr, "no progress", [&](const std::string&) { quiet = true; }}};
    if (!parseOptions(argc, argv, kPlayUsage, options, operands)) return exitOk;
    if (operands.empty()) throw UsageError("missing operand: FILE.wav");
    if (operands.size() > 1) throw UsageError("unexpected argument '" + operands[1] + "'");

    WavReader wav(operands.front());
    const Resource player(VNRES_PCM_PLAYER);
    check(VNSetAudio(player.id(), wav.rate(), wav.channels()), "VNSetAudio");
    player.start();
    feedAll(wav, player, operands.front(), quiet);
    // Stopping drains the queue.
    player.stop();
    clearProgress();
    return exitOk;
}

}  // namespace vncam
