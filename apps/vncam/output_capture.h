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

    /** The first line captured so far; empty when there is none. */
    std::string firstLine() const;

  private:
    const int descriptor_;
    int saved_;
    int kept_;
};

}  // namespace vncam

#endif
