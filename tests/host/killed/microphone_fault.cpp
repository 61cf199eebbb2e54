#include "microphone_fault.h"

#include <fstream>
#include <thread>

namespace {

using std::chrono::milliseconds;

/** Long enough to be heard first: a recording without audio so far starts a new file when audio arrives. */
constexpr milliseconds kFirstPhase(1'000);
constexpr milliseconds kLongestPhase(1'500);

bool isEven(unsigned seed) {
    return seed % 2 == 0;
}

}  // namespace

std::optional<MicrophoneFault> microphoneFaultOf(const std::string& name) {
    if (name == "lost") return MicrophoneFault::lost;
    if (name == "stalled") return MicrophoneFault::stalled;
    if (name == "unsteady") return MicrophoneFault::unsteady;
    return std::nullopt;
}

FaultyMicrophone::FaultyMicrophone(MicrophoneFault fault, std::filesystem::path sign, unsigned seed)
    : fault_(fault),
      sign_(std::move(sign)),
      random_(seed),
      stalls_(fault == MicrophoneFault::stalled || (fault == MicrophoneFault::unsteady && isEven(seed))) {
    set((fault == MicrophoneFault::lost || fault == MicrophoneFault::stalled) && isEven(seed));
}

FaultyMicrophone::~FaultyMicrophone() {
    set(false);
}

std::string FaultyMicrophone::device() const {
    if (fault_ == MicrophoneFault::none) return "test";
    return (stalls_ ? "test:stalled=" : "test:lost=") + sign_.string();
}

void FaultyMicrophone::live(milliseconds life) {
    const auto end = std::chrono::steady_clock::now() + life;
    const auto sleepFor = [end](milliseconds time) {
        std::this_thread::sleep_until(std::min(end, std::chrono::steady_clock::now() + time));
        return std::chrono::steady_clock::now() < end;
    };
    if (fault_ == MicrophoneFault::unsteady) {
        bool away = false;
        for (milliseconds phase = kFirstPhase; sleepFor(phase); phase = upTo(kLongestPhase))
            set(away = !away);
    } else if (fault_ != MicrophoneFault::none && sleepFor(upTo(life))) {
        set(true);
    }
    std::this_thread::sleep_until(end);
}

milliseconds FaultyMicrophone::upTo(milliseconds limit) {
    return milliseconds(random_() % static_cast<unsigned>(limit.count() + 1));
}

void FaultyMicrophone::set(bool away) const {
    if (away)
        std::ofstream(sign_).put('\n');
    else
        std::filesystem::remove(sign_);
}
