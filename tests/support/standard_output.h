#ifndef VORNISA_TESTS_STANDARD_OUTPUT_H
#define VORNISA_TESTS_STANDARD_OUTPUT_H

#include <memory>
#include <string>

namespace scripted {

/**
 * While it lives, each line on std::cout becomes an event when it is flushed, and is not printed. A line
 * without the whole path of its source, or with a wrong line number, is recorded as such.
 */
class StandardOutput {
  public:
    StandardOutput();
    ~StandardOutput();

    /** The event for a line; `file` is relative to the source root. */
    static std::string line(const std::string& file, const std::string& function, const std::string& text);

  private:
    class Buffer;
    std::unique_ptr<Buffer> buffer_;
    std::streambuf* before_;
};

}  // namespace scripted

#endif
