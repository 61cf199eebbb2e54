#ifndef TESTS_APPS_WAV_BYTES_H
#define TESTS_APPS_WAV_BYTES_H

#include <cstdint>
#include <string>

namespace vncam_test {

/** The lowest `bytes` bytes of a number, little-endian. */
std::string little(std::uint32_t value, int bytes);

struct WavForm {
    std::uint32_t rate = 16000;
    std::uint16_t channels = 1;
    std::uint16_t format = 1;
    std::uint16_t bits = 16;
};

std::string chunk(const std::string& name, const std::string& content);
std::string formatRecord(const WavForm& form);
std::string riff(const std::string& chunks);
std::string wav(const std::string& samples, const WavForm& form = {});

/** Samples without repetition, so that a lost, duplicated or moved block shows. */
std::string samplesOf(std::size_t count);
/** `count` samples of one value. */
std::string levelOf(std::int16_t value, std::size_t count);

}  // namespace vncam_test

#endif
