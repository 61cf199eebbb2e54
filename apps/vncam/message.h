#ifndef VNCAM_MESSAGE_H
#define VNCAM_MESSAGE_H

#include <string>
#include <string_view>

namespace vncam {

/**
 * The value of `key` in a message such as "name=frameLost,lost=2"; empty when there is none. Braces around a
 * value, which keep its commas together, are taken off.
 */
std::string messageValue(std::string_view message, std::string_view key);

}  // namespace vncam

#endif
