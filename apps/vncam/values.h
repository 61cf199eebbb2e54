#ifndef VNCAM_VALUES_H
#define VNCAM_VALUES_H

#include <functional>
#include <string>

namespace vncam {

/** A picture size in pixels. */
struct Size {
    int width;
    int height;
    std::string text() const;
};

/** A change of the picture size at a second of the film. */
struct SizeSwitch {
    Size size;
    double second;
    std::string text() const;
};

// Each takes the option's name for its message and throws UsageError for text that is not such a value.

int parseInteger(const char* option, const std::string& text, int least, int most);

/** Bits per second: 2000000, 2M or 500k. */
int parseBitRate(const char* option, const std::string& text, int least, int most);

/** For Option::apply: sets `target`, which outlives the options. */
std::function<void(const std::string&)> integerInto(int& target, const char* option, int least, int most);
std::function<void(const std::string&)> bitRateInto(int& target, const char* option, int least, int most);

/** A count of seconds, fractions allowed. */
double parseSeconds(const char* option, const std::string& text);

/** WIDTHxHEIGHT, even numbers: pictures are stored with colour at half the resolution. */
Size parseSize(const char* option, const std::string& text);

/** WIDTHxHEIGHT@SECONDS. */
SizeSwitch parseSizeSwitch(const char* option, const std::string& text);

}  // namespace vncam

#endif
