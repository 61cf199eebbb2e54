#include "wav_bytes.h"

namespace vncam_test {

std::string little(std::uint32_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> 8 * i & 0xFF);
    return text;
}

std::string chunk(const std::string& name, const std::string& content) {
    return name + little(static_cast<std::uint32_t>(content.size()), 4) + content +
           std::string(content.size() % 2, '\0');
}

std::string formatRecord(const WavForm& form) {
    const std::uint32_t frame = form.channels * form.bits / 8u;
    return little(form.format, 2) + little(form.channels, 2) + little(form.rate, 4) +
           little(form.rate * frame, 4) + little(frame, 2) + little(form.bits, 2);
}

std::string riff(const std::string& chunks) {
    return chunk("RIFF", "WAVE" + chunks);
}

std::string wav(const std::string& samples, const WavForm& form) {
    return riff(chunk("fmt ", formatRecord(form)) + chunk("data", samples));
}

std::string samplesOf(std::size_t count) {
    std::string samples;
    std::uint32_t state = 1;
    for (std::size_t i = 0; i < count; ++i) {
        state = state * 1664525u + 1013904223u;
        samples += little(state >> 16, 2);
    }
    return samples;
}

std::string levelOf(std::int16_t value, std::size_t count) {
    std::string samples;
    for (std::size_t i = 0; i < count; ++i) samples += little(static_cast<std::uint16_t>(value), 2);
    return samples;
}

}  // namespace vncam_test
