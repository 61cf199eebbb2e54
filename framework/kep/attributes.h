#ifndef KEP_ATTRIBUTES_H
#define KEP_ATTRIBUTES_H

#include <string>

#include "kep/visibility.h"

namespace kep {
namespace base {

/** Attributes of an object as text. */
class KEP_API IAttributes {
  public:
    virtual void toString(std::string& text) const = 0;
    virtual bool fromString(const char* text) = 0;

    std::string ToString() const {
        std::string text;
        toString(text);
        return text;
    }

  protected:
    ~IAttributes() = default;
};

}  // namespace base
}  // namespace kep

#endif
