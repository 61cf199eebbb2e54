#include <charconv>

#include "kep/ostream.h"

namespace kep::base {
namespace {

template <class T>
void appendNumber(std::string& text, T value, int radix = 10) {
    char digits[24];
    const auto [end, failure] = std::to_chars(digits, digits + sizeof(digits), value, radix);
    if (failure == std::errc()) text.append(digits, end);
}

}  // namespace

ostream_string::ostream_string(std::string& target) : target_(target) {}

ostream& ostream_string::operator<<(char character) {
    target_ += character;
    return *this;
}

ostream& ostream_string::operator<<(int value) {
    appendNumber(target_, value);
    return *this;
}

ostream& ostream_string::operator<<(std::int64_t value) {
    appendNumber(target_, value);
    return *this;
}

ostream& ostream_string::operator<<(void* pointer) {
    target_ += "0x";
    appendNumber(target_, reinterpret_cast<std::uintptr_t>(pointer), 16);
    return *this;
}

ostream& ostream_string::operator<<(const char* text) {
    if (text) target_ += text;
    return *this;
}

}  // namespace kep::base
