#include "media/audio/faulty_tone.h"

#include <filesystem>

#include "objects/log.h"

namespace kep::host {

bool FaultyTone::open() {
    const std::size_t equals = device_.argument.find('=');
    const std::string fault = device_.argument.substr(0, equals);
    if (equals != std::string::npos) path_ = device_.argument.substr(equals + 1);
    stalls_ = fault == "stalled";
    if (path_.empty() || (!stalls_ && fault != "lost"))
        KEP_HOST_ERROR("cannot open microphone " + device_.text +
                       ": it is none of test, test:lost=PATH, test:stalled=PATH");
    else if (!stalls_ && fails())
        KEP_HOST_ERROR("cannot open microphone " + device_.text + ": it is away");
    else
        return true;
    return false;
}

bool FaultyTone::read(AudioBlock& block) {
    // The tone goes on with the clock, whether or not it is heard.
    do {
        if (!tone_.read(block)) return false;
        if (!fails()) return true;
    } while (stalls_);
    KEP_HOST_ERROR("microphone " + device_.text + " is lost");
    return false;
}

bool FaultyTone::fails() const {
    std::error_code ignored;
    return std::filesystem::exists(path_, ignored);
}

}  // namespace kep::host
