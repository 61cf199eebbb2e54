#ifndef KEP_URL_H
#define KEP_URL_H

#include <string>

#include "kep/attr_set.h"
#include "kep/visibility.h"

namespace kep {
namespace base {

class KEP_API IUrl {
  public:
    /** Splits a URL into attributes, among them "ext", the file name's extension if it has one. */
    static bool Parse(const char* url, AttrSet& parts);
};

/** A different text at each call. */
KEP_API std::string UniqueString();

}  // namespace base
}  // namespace kep

#endif
