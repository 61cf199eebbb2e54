#ifndef VNCAM_ERROR_CAPTURE_H
#define VNCAM_ERROR_CAPTURE_H

#include <string>

namespace vncam {

/** Keeps what is written to standard error during its life, instead of showing it. */
class ErrorCapture {
  public:
    ErrorCapture();
    ~ErrorCapture();
    ErrorCapture(const ErrorCapture&) = delete;
    ErrorCapture& operator=(const ErrorCapture&) = delete;

    /** The message of the first line of the framework's format; empty when there was none. */
    std::string firstMessage() const;

  private:
    int saved_;
    int kept_;
};

/** The message within a debug line: what follows the place it came from, without colours. */
std::string debugMessage(const std::string& line);

}  // namespace vncam

#endif
