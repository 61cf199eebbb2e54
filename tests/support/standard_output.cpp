#include "standard_output.h"

#include <iostream>
#include <mutex>
#include <streambuf>

#include "script.h"
#include "streams.h"

namespace scripted {
namespace {

const std::string root = SOURCE_ROOT "/";

/** The event for a flushed text; anything but one well-formed line is named as malformed. */
std::string described(const std::string& raw) {
    const std::string malformed = "malformed text on standard output: " + raw;
    const auto colon = raw.find(':');
    const auto slash = raw.rfind('/', colon);
    const auto second = raw.find(':', colon + 1);
    if (second == std::string::npos || slash > colon || raw.find('\n') != raw.size() - 1) return malformed;
    const std::string path = raw.substr(0, slash);
    const std::string digits = raw.substr(slash + 1, colon - slash - 1);
    const std::string function = raw.substr(colon + 1, second - colon - 1);
    const std::string text = raw.substr(second + 1, raw.size() - second - 2);
    if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos) return malformed;
    if (path.rfind(root, 0) != 0) return "cut path on standard output: " + raw;
    const std::string file = path.substr(root.size());
    const int number = std::stoi(digits);
    // createFileName reports the position of the API function that calls it.
    const bool right = function == "createFileName"
                           ? isLineOf(file, number, "VNRecordEventTrigger") ||
                                 isLineOf(file, number, "VNRecordEventServiceTrigger")
                           : isLineOf(file, number, function);
    return right ? StandardOutput::line(file, function, text) : "wrong line number: " + raw;
}

}  // namespace

class StandardOutput::Buffer : public std::streambuf {
  public:
    ~Buffer() override {
        if (!pending_.empty()) Script::instance().note("unflushed text on standard output: " + pending_);
    }

  protected:
    int overflow(int character) override {
        const std::lock_guard<std::mutex> lock(mutex_);
        pending_ += static_cast<char>(character);
        return character;
    }

    std::streamsize xsputn(const char* text, std::streamsize size) override {
        const std::lock_guard<std::mutex> lock(mutex_);
        pending_.append(text, static_cast<std::size_t>(size));
        return size;
    }

    int sync() override {
        const std::lock_guard<std::mutex> lock(mutex_);
        Script::instance().note(described(pending_));
        pending_.clear();
        return 0;
    }

  private:
    std::mutex mutex_;
    std::string pending_;
};

StandardOutput::StandardOutput() : buffer_(new Buffer), before_(std::cout.rdbuf(buffer_.get())) {}

StandardOutput::~StandardOutput() {
    std::cout.rdbuf(before_);
}

std::string StandardOutput::line(const std::string& file, const std::string& function,
                                 const std::string& text) {
    return "standard output " + file + " " + function + ": " + text;
}

}  // namespace scripted
