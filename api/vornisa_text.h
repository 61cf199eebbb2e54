#ifndef VORNISA_TEXT_H
#define VORNISA_TEXT_H

#include <cstdint>
#include <initializer_list>
#include <string>

namespace vornisa {

/** What fills one gap of a pattern. Lives no longer than the text it was made from. */
class Filling {
  public:
    /** A null text is an empty one. */
    Filling(const char* text) : text_(text ? text : ""), number_(0) {}
    Filling(const std::string& text) : Filling(text.c_str()) {}
    Filling(int number) : text_(nullptr), number_(number) {}
    Filling(std::int64_t number) : text_(nullptr), number_(number) {}
    Filling(bool value) : Filling(value ? "true" : "false") {}

    void appendTo(std::string& text) const;

  private:
    const char* text_; /**< null for a number */
    std::int64_t number_;
};

/** `pattern` with each "#" replaced by the next of `fillings`, of which there are as many. */
std::string compose(const char* pattern, std::initializer_list<Filling> fillings);

}  // namespace vornisa

#endif
