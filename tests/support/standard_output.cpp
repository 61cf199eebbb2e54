#include "standard_output.h"

#include <iostream>
#include <mutex>
#include <regex>
#include <streambuf>

#include "script.h"
#include "streams.h"

namespace scripted {
namespace {

const std::string root = SOURCE_ROOT "/";

/** A flushed text, taken apart; what does not have the form of one line is recorded as it is. */
std::string described(const std::string& raw) {
    std::smatch part;
    static const std::regex form("([^:\n]*)/([0-9]+):([A-Za-z0-9]+):([^\n]*)\n");
    if (!std::regex_match(raw, part, form)) return "malformed text on standard output: " + raw;
    const std::string path = part[1];
    if (path.rfind(root, 0) != 0) return "cut path on standard output: " + raw;
    const std::string file = path.substr(root.size());
    const std::string function = part[3];
    const int number = std::stoi(part[2]);
    // The name of a file is made on behalf of the function that is called, whose line it is.
    const bool right = function == "createFileName"
                           ? isLineOf(file, number, "VNRecordEventTrigger") ||
                                 isLineOf(file, number, "VNRecordEventServiceTrigger")
                           : isLineOf(file, number, function);
    return right ? StandardOutput::line(file, function, part[4]) : "wrong line number: " + raw;
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
