#ifndef KEP_HOST_STREAM_CHOICE_H
#define KEP_HOST_STREAM_CHOICE_H

#include <bitset>
#include <optional>
#include <string>
#include <string_view>

namespace kep::host {

inline constexpr int kDebugStreams = 32;
using StreamChoice = std::bitset<kDebugStreams>;

/**
 * Parses a choice of debug streams: numbers separated by ",", or `all`, or `none`. An empty text selects the
 * error stream. Nullopt, with `problem` filled, for any other text.
 */
std::optional<StreamChoice> parseStreamChoice(std::string_view text, std::string& problem);

}  // namespace kep::host

#endif
