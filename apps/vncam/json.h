#ifndef VNCAM_JSON_H
#define VNCAM_JSON_H

#include <string>

namespace vncam {

/** A text as a JSON string, in quotes. Each byte that is not part of valid UTF-8 becomes U+FFFD. */
std::string jsonText(const std::string& text);

}  // namespace vncam

#endif
