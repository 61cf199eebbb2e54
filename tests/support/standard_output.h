#ifndef VORNISA_TESTS_STANDARD_OUTPUT_H
#define VORNISA_TESTS_STANDARD_OUTPUT_H

#include <memory>
#include <string>

namespace scripted {

/**
 * While it lives, lines on std::cout are among the events instead of on the screen, each when it is flushed.
 * A line that does not name its source by its whole path, or a wrong line number, is recorded as such.
 */
class StandardOutput {
  public:
    StandardOutput();
    ~StandardOutput();

    /** A line as it is among the events; `file` is below the source's root. */
    static std::string line(const std::string& file, const std::string& function, const std::string& text);

  private:
    class Buffer;
    std::unique_ptr<Buffer> buffer_;
    std::streambuf* before_;
};

}  // namespace scripted

#endif
