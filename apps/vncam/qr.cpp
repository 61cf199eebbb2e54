#include <cstdio>
#include <string>
#include <vector>

#include "command.h"
#include "detections.h"
#include "json.h"
#include "message.h"
#include "options.h"
#include "resource.h"

namespace vncam {
namespace {

constexpr Usage kQrUsage{
    "qr", "", "Reads QR and other two-dimensional codes in the camera's picture, once a second.",
    "Prints the text of each code in a line when it appears; line breaks, backslashes and control\n"
    "characters in it are written as \\n, \\\\ and \\xNN. Without --count and --seconds it runs until "
    "Ctrl-C.\n"
    "Exit status 1: no code was read, and Ctrl-C did not end it."};

int digit(char character) {
    if (character >= '0' && character <= '9') return character - '0';
    return character >= 'A' && character <= 'F' ? character - 'A' + 10 : -1;
}

/** The text of a code: messages encode some bytes as `%` and two hexadecimal digits. */
std::string textOf(const std::string& message) {
    std::string value = messageValue(message, "text");
    if (messageValue(message, "encoded") != "true") return value;
    std::string text;
    for (std::size_t i = 0; i < value.size(); ++i) {
        const bool isNumber =
            value[i] == '%' && i + 2 < value.size() && digit(value[i + 1]) >= 0 && digit(value[i + 2]) >= 0;
        text += isNumber ? static_cast<char>(digit(value[i + 1]) * 16 + digit(value[i + 2])) : value[i];
        if (isNumber) i += 2;
    }
    return text;
}

std::string inOneLine(const std::string& text) {
    std::string line;
    for (const char character : text) {
        const auto code = static_cast<unsigned char>(character);
        char number[8];
        std::snprintf(number, sizeof number, "\\x%02X", code);
        if (character == '\n')
            line += "\\n";
        else if (character == '\\')
            line += "\\\\";
        else
            line += code < ' ' || code == 0x7F ? std::string(number) : std::string(1, character);
    }
    return line;
}

std::string jsonOf(const std::string& message) {
    std::string object =
        "{\"text\":" + jsonText(textOf(message)) + ",\"format\":" + jsonText(messageValue(message, "format"));
    for (const char* const key : {"x", "y", "w", "h", "time"})
        object += std::string(",\"") + key + "\":" + messageValue(message, key);
    return object + "}";
}

}  // namespace

int runQr(int argc, char** argv) {
    DetectionSettings settings;
    const std::vector<Option> options =
        detectionOptions(settings, "end after N codes",
                         "print a JSON object per line, with the place in a frame of 1920x1080 and the time");
    std::vector<std::string> operands;
    if (!parseOptions(argc, argv, kQrUsage, options, operands)) return exitOk;
    if (!operands.empty()) throw UsageError("unexpected argument '" + operands.front() + "'");

    const Resource reader(VNRES_QRCODE);
    Inbox inbox(reader.id());
    reader.start();
    const bool isRead = printDetections(inbox, settings, "code", [&](const std::string& message) {
        return Detection{settings.isJson ? jsonOf(message) : inOneLine(textOf(message)), true};
    });
    if (!isRead) throw Failure("no code read");
    return exitOk;
}

}  // namespace vncam
