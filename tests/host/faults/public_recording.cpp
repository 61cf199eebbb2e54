#include "public_recording.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <string_view>

#include "kep/attr_set.h"
#include "pipeline_fixture.h"
#include "vornisa_api.h"

namespace kep::host {
namespace {

constexpr int k360p = 230400;

std::mutex mutex;
std::vector<std::string> texts;

void keep(const char* message) {
    const std::lock_guard lock(mutex);
    texts.emplace_back(message);
}

}  // namespace

PublicRecording::PublicRecording() {
    std::string pattern = std::filesystem::temp_directory_path() / "faultsXXXXXX";
    folder_ = mkdtemp(pattern.data());
    setenv("KEP_HOST_VIDEO", "test", 1);
    setenv("KEP_HOST_AUDIO", "test", 1);
    // Only the recording may keep the camera and the microphone open.
    setenv("KEP_HOST_PRERECORD", "attached", 1);
    const std::lock_guard lock(mutex);
    texts.clear();
}

PublicRecording::~PublicRecording() {
    end();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

int PublicRecording::record(int secondsOfFile, const std::string& name, const std::string& video) {
    const int result = VNRecMan2(k360p, video.c_str(), "", secondsOfFile, folder_.c_str(), name.c_str(),
                                 "PowerFailProtection=true");
    if (result != VNRES_SUCCEED) return result;
    plays_ = true;
    const int acquired = VNAcquire(VNRES_REC_MAN, &id_);
    if (acquired != VNRES_SUCCEED) return acquired;
    return VNRegisterMessageCallback(id_, keep);
}

void PublicRecording::end() {
    if (!id_) return;
    if (plays_) {
        EXPECT_TRUE(stop());
    }
    VNRelease(id_);
    id_ = 0;
    expectEachStartToHaveItsEnd();
}

void PublicRecording::expectEachStartToHaveItsEnd() {
    const std::lock_guard lock(mutex);
    std::string open;
    // The callback may be registered too late for the first start.
    const bool sawFirst = !texts.empty() && texts.front().rfind("name=recordStop", 0) != 0;
    for (std::size_t i = sawFirst ? 0 : 1; i < texts.size(); ++i) {
        const std::string& text = texts[i];
        const base::AttrSet attributes(text.c_str());
        const std::string_view name = attributes.GetOrDef("name", "");
        const std::string url = attributes.GetOrDef("url", "");
        if (name == "recordStart") {
            EXPECT_EQ(open, "") << "still open at " << text;
            open = url;
        } else if (name == "recordStop" || (name == "failed" && !open.empty())) {
            EXPECT_EQ(open, url) << text;
            open.clear();
        }
    }
    EXPECT_EQ(open, "") << "never ended";
}

bool PublicRecording::stop() {
    const std::size_t before = messages("stopped").size();
    plays_ = false;
    return VNStop(id_) == VNRES_SUCCEED && waitForMessage("stopped", before);
}

bool PublicRecording::start() {
    plays_ = VNStart(id_) == VNRES_SUCCEED;
    return plays_;
}

bool PublicRecording::runs() const {
    int running = 0;
    EXPECT_EQ(VNIsRunning(id_, &running), VNRES_SUCCEED);
    return running;
}

int PublicRecording::set(const char* params) const {
    return VNSetParams(id_, params);
}

std::vector<std::string> PublicRecording::messages(const std::string& name) {
    const std::lock_guard lock(mutex);
    std::vector<std::string> found;
    for (const std::string& text : texts) {
        if (text == "name=" + name || text.rfind("name=" + name + ",", 0) == 0) found.push_back(text);
    }
    return found;
}

bool PublicRecording::waitForMessage(const std::string& name, std::size_t before) {
    return waitUntil([&] { return messages(name).size() > before; });
}

int PublicRecording::lostPictures() {
    int lost = 0;
    for (const std::string& message : messages("frameLost")) {
        const base::AttrSet attributes(message.c_str());
        if (attributes.GetOrDef("media", "") == std::string("video"))
            lost += attributes.GetOrDef<int>("lost", 0);
    }
    return lost;
}

std::vector<std::filesystem::path> PublicRecording::begun() {
    constexpr std::string_view scheme = "file://";
    std::vector<std::filesystem::path> found;
    for (const std::string& message : messages("recordStart")) {
        const std::string url = base::AttrSet(message.c_str()).GetOrDef("url", "");
        EXPECT_TRUE(url.starts_with(scheme)) << message;
        found.emplace_back(url.substr(scheme.size()));
    }
    return found;
}

std::vector<std::filesystem::path> PublicRecording::finished() const {
    std::vector<std::filesystem::path> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
        if (entry.path().extension() == ".mp4") found.push_back(entry.path());
    }
    std::sort(found.begin(), found.end(), [](const auto& one, const auto& other) {
        return std::filesystem::last_write_time(one) < std::filesystem::last_write_time(other);
    });
    return found;
}

}  // namespace kep::host
