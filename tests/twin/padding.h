#ifndef VORNISA_TESTS_TWIN_PADDING_H
#define VORNISA_TESTS_TWIN_PADDING_H

#include <cstddef>
#include <cstring>

#include "record.h"

namespace twin {

/** Stands for members of a firmware's class. Records an event when they were overwritten. */
template <std::size_t size>
class Padding {
  public:
    explicit Padding(const char* owner) : owner_(owner) { std::memset(bytes_, kFill, size); }
    Padding(const Padding&) = delete;
    Padding& operator=(const Padding&) = delete;
    ~Padding() { check(); }

    void check() const {
        for (const unsigned char byte : bytes_)
            if (byte != kFill) return note(std::string(owner_) + " is damaged");
    }

  private:
    static constexpr unsigned char kFill = 0xa5;
    const char* owner_;
    unsigned char bytes_[size];
};

}  // namespace twin

#endif
