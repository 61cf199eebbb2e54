#ifndef KEP_TESTS_ERROR_LINES_H
#define KEP_TESTS_ERROR_LINES_H

#include <string>
#include <vector>

/** Takes what is written to standard error while it lives. */
class ErrorLines {
  public:
    ErrorLines();
    ErrorLines(const ErrorLines&) = delete;
    ErrorLines& operator=(const ErrorLines&) = delete;
    ~ErrorLines();

    /** Everything written so far, as it is. */
    std::string raw() const;
    /** The messages of the lines so far, without colour and place. */
    std::vector<std::string> messages() const;
    /** How many lines have `part` in them. */
    int count(const std::string& part) const;

  private:
    int file_;
    int before_;
};

#endif
