#ifndef VORNISA_MICROPHONE_FAULT_H
#define VORNISA_MICROPHONE_FAULT_H

#include <chrono>
#include <filesystem>
#include <optional>
#include <random>
#include <string>

/** What a microphone does while a recording is made. */
enum class MicrophoneFault { none, lost, stalled, unsteady };

/** The fault of that name ("lost", "stalled", "unsteady"); nothing for another name. */
std::optional<MicrophoneFault> microphoneFaultOf(const std::string& name);

/**
 * A test microphone with a fault. A lost or stalled one is away from the start in half of the runs, else from
 * a random moment on. An unsteady one works for a second, then stalls, or in every other run is lost, for a
 * random time, over and over.
 */
class FaultyMicrophone {
  public:
    /** @param sign path of the file that stands for the fault while it exists */
    FaultyMicrophone(MicrophoneFault fault, std::filesystem::path sign, unsigned seed);
    ~FaultyMicrophone();
    FaultyMicrophone(const FaultyMicrophone&) = delete;
    FaultyMicrophone& operator=(const FaultyMicrophone&) = delete;

    /** As KEP_HOST_AUDIO has it. */
    std::string device() const;
    /** Lets `life` go by, with the fault coming and going as it does. */
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
