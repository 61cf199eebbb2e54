#ifndef VORNISA_TEXT_H
#define VORNISA_TEXT_H

#include <cstdint>
#include <initializer_list>
#include <string>

namespace vornisa {

/** The value of one placeholder of a pattern. Refers to the text given, which must outlive it. */
class Argument {
  public:
    /** A null text counts as empty. */
    Argument(const char* text) : text_(text ? text : ""), number_(0) {}
    Argument(const std::string& text) : Argument(text.c_str()) {}
    Argument(int number) : text_(nullptr), number_(number) {}
    Argument(std::int64_t number) : text_(nullptr), number_(number) {}
    Argument(bool value) : Argument(value ? "true" : "false") {}

    void appendTo(std::string& text) const;

  private:
    const char* text_; /**< null for a number */
    std::int64_t number_;
};

/** Replaces each "#" of `pattern` by the next of `arguments`; there must be as many. */
std::string compose(const char* pattern, std::initializer_list<Argument> arguments);

}  // namespace vornisa

#endif
