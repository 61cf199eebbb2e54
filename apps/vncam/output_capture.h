#ifndef VNCAM_OUTPUT_CAPTURE_H
#define VNCAM_OUTPUT_CAPTURE_H

#include <string>

namespace vncam {

/** Captures standard output or standard error for as long as it exists. */
class OutputCapture {
  public:
    explicit OutputCapture(int descriptor);
    ~OutputCapture();
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;

    /** The message of the first line of the framework's format; empty when there was none. */
    std::string firstMessage() const;

  private:
    const int descriptor_;
    int saved_;
    int kept_;
};

/** The message within a debug line: what follows the place it came from, without colours. */
std::string debugMessage(const std::string& line);

}  // namespace vncam

#endif
