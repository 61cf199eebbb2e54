#ifndef VNCAM_LEVEL_METER_H
#define VNCAM_LEVEL_METER_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

namespace vncam {

/** Measures peaks: one thread adds samples, another one reads the peaks. */
class LevelMeter {
  public:
    void add(const std::int16_t* samples, std::size_t count);

    /** The largest amplitude since the last call, from 0 to 32768. */
    int takePeak() { return recent_.exchange(0); }
    /** The largest amplitude so far. */
    int peak() const { return peak_; }

  private:
    std::atomic<int> recent_{0};
    std::atomic<int> peak_{0};
};

/** An amplitude in decibels relative to full scale: "-6.0 dB"; "silence" for none. */
std::string decibelText(int amplitude);

/** The same as a bar of a fixed width, from -60 dB on: "[##########----------] -30.0 dB". */
std::string meterText(int amplitude);

}  // namespace vncam

#endif
