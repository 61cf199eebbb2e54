#ifndef VORNISA_MICROPHONE_FAULT_H
#define VORNISA_MICROPHONE_FAULT_H

#include <chrono>
#include <filesystem>
#include <optional>
#include <random>
#include <string>

/** What happens to the microphone during a recording. */
enum class MicrophoneFault { none, lost, stalled, unsteady };

/** The fault with this name ("lost", "stalled", "unsteady"); nothing for any other name. */
std::optional<MicrophoneFault> microphoneFaultOf(const std::string& name);

/**
 * A test microphone with a fault. A lost or stalled one fails from the start in half of the runs, else from a
 * random moment on. An unsteady one works for a second, then alternates at random intervals between its fault
 * (a stall, or a loss in every other run) and working.
 */
class FaultyMicrophone {
  public:
    /** @param sign path of a file; the fault persists while it exists */
    FaultyMicrophone(MicrophoneFault fault, std::filesystem::path sign, unsigned seed);
    ~FaultyMicrophone();
    FaultyMicrophone(const FaultyMicrophone&) = delete;
    FaultyMicrophone& operator=(const FaultyMicrophone&) = delete;

    /** The device as a value of KEP_HOST_AUDIO. */
    std::string device() const;
    /** Waits for `life` while the fault comes and goes. */
    void live(std::chrono::milliseconds life);

  private:
    std::chrono::milliseconds upTo(std::chrono::milliseconds limit);
    void set(bool away) const;

    const MicrophoneFault fault_;
    const std::filesystem::path sign_;
    std::mt19937 random_;
    const bool stalls_;
};

#endif
