#include "event_fixture.h"

namespace kep::host {

void SyntheticStream::run(int ms) {
    now_ += milliseconds(ms);
    while (std::min(nextPicture_, nextSound_) < now_) {
        if (nextSound_ < nextPicture_) {
            give(audioPacket(nextSound_));
            nextSound_ += milliseconds(21);
        } else {
            const bool key = given_.empty() || ++sinceKey_ >= group_;
            if (key) sinceKey_ = 0;
            give(videoPacket(nextPicture_, key));
            nextPicture_ += milliseconds(40);
        }
    }
}

void SyntheticStream::pause(int ms) {
    now_ += milliseconds(ms);
    nextPicture_ = nextSound_ = now_;
    sinceKey_ = group_;
}

void SyntheticStream::give(const SharedPacket& packet) {
    given_.push_back(packet);
    source_.push(packet);
}

std::string SyntheticStream::at(int ms) const {
    return std::to_string((origin_ + milliseconds(ms)).time_since_epoch() / milliseconds(1)) + "ms";
}

std::vector<SharedPacket> clipOf(const std::vector<SharedPacket>& given, SteadyTime begin, SteadyTime end) {
    std::size_t first = given.size();
    bool reached = false;
    for (std::size_t i = 0; i < given.size(); ++i) {
        if (!given[i]->isVideo()) continue;
        reached = reached || given[i]->stamp >= begin;
        if (given[i]->key && (given[i]->stamp <= begin || first == given.size())) first = i;
    }
    std::vector<SharedPacket> clip;
    for (std::size_t i = first; reached && i < given.size(); ++i) {
        if (given[i]->stamp >= given[first]->stamp && given[i]->stamp <= end) clip.push_back(given[i]);
    }
    return clip;
}

Service::Service()
    : app_(
          "type=Application,layout={type=pipeline,layout={TestSource:name=in+RecordEventServiceTriggerShm:"
          "name=ctrl,delApp=false,dbg=false,shmCreater={type=VornisaSharedMemory,name=shm,free=true}"
          "+TestClips:name=clips}}") {
    EXPECT_TRUE(app_.play());
}

bool Service::trigger(const std::string& pre, const std::string& post, const std::string& tp,
                      const std::string& url) {
    return app_->fromString(
        ("trigger={pre=" + pre + ",post=" + post + ",tp=" + tp + ",url=" + url + "}").c_str());
}

}  // namespace kep::host
