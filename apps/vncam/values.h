#ifndef VNCAM_VALUES_H
#define VNCAM_VALUES_H

#include <cstdint>
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

// Each takes the option's name for its message and throws UsageError for any other text.

int parseInteger(const char* option, const std::string& text, int least, int most);

/** Bits per second: 2000000, 2M or 500k. */
int parseBitRate(const char* option, const std::string& text, int least, int most);

/** A count of bytes above 0: 2000000000, 2G, 500M or 100k. */
std::int64_t parseBytes(const char* option, const std::string& text);

/** A number of days above 0, fractions allowed; returns seconds. */
std::int64_t parseDays(const char* option, const std::string& text);

/** For Option::apply: sets `target`, which must outlive the options. */
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
