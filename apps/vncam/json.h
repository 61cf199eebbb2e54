#ifndef VNCAM_JSON_H
#define VNCAM_JSON_H

#include <string>

namespace vncam {

/** A text as a string of JSON, in quotes. Bytes that are no character of UTF-8 are given as its replacement.
 */
std::string jsonText(const std::string& text);

}  // namespace vncam

#endif
