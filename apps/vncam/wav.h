#ifndef VNCAM_WAV_H
#define VNCAM_WAV_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace vncam {

/** Reads a WAV file of 16-bit PCM samples. Throws Failure that names the file and what is wrong. */
class WavReader {
  public:
    /** Opens `path`, or standard input by the name "-", and reads up to the first sample. */
    explicit WavReader(const std::string& path);

    int rate() const { return rate_; }
    int channels() const { return channels_; }
    /** Samples of each channel; 0 when the file was written to a pipe and does not say. */
    std::uint64_t frames() const { return dataBytes_ / frameBytes(); }
    /** Bytes of one sample of every channel. */
    std::size_t frameBytes() const { return static_cast<std::size_t>(channels_) * 2; }

    /** Reads up to `frames` frames; fewer at the end of the file, then none. */
    std::vector<char> read(std::size_t frames);

  private:
    struct CloseFile {
        void operator()(std::FILE* file) const;
    };

    void readHeader();
    void readFormat(std::uint32_t size);
    void checkLength();
    void readExactly(void* target, std::size_t size, const char* what);
    void skip(std::uint64_t size);
    [[noreturn]] void failCutShort(std::uint64_t there) const;
    [[noreturn]] void fail(const std::string& why) const;

    std::string name_;
    std::unique_ptr<std::FILE, CloseFile> file_;
    int rate_ = 0;
    int channels_ = 0;
    bool endless_ = false; /**< the length was not known when the header was written */
    std::uint64_t dataBytes_ = 0;
    std::uint64_t readBytes_ = 0;
};

}  // namespace vncam

#endif
