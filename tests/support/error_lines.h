#ifndef KEP_TESTS_ERROR_LINES_H
#define KEP_TESTS_ERROR_LINES_H

#include <string>
#include <vector>

/** Captures standard error while it lives. */
class ErrorLines {
  public:
    ErrorLines();
    ErrorLines(const ErrorLines&) = delete;
    ErrorLines& operator=(const ErrorLines&) = delete;
    ~ErrorLines();

    /** Everything written so far, unchanged. */
    std::string raw() const;
    /** The messages of the lines so far, without colour and source position. */
    std::vector<std::string> messages() const;
    /** The number of messages that contain `part`. */
    int count(const std::string& part) const;

  private:
    int file_;
    int before_;
};

#endif
