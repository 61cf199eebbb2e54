#include "recorder.h"

#include <stdlib.h>

#include "judged_file.h"
#include "kep/attr_set.h"
#include "kep/entry_points.h"
#include "kep/message.h"
#include "kep/object.h"
#include "vornisa_api.h"

namespace recording_test {
namespace {

constexpr int k360p = 230400;
constexpr int kRecordingApp = 31;

/** The recording application inside the framework; null if there is none. */
kep::base::IMessageProcesser* application() {
    return dynamic_cast<kep::base::IMessageProcesser*>(
        kepCreate("type=application,name=appVornisaRecMan,noconfigure=true"));
}

}  // namespace

RecordingTest::RecordingTest() {
    std::string pattern = std::filesystem::temp_directory_path() / "recordingXXXXXX";
    folder_ = mkdtemp(pattern.data());
    setenv("KEP_HOST_VIDEO", "test", 1);
    setenv("KEP_HOST_AUDIO", "test", 1);
    // Only the recording may keep the camera and the microphone open.
    setenv("KEP_HOST_PRERECORD", "attached", 1);
}

RecordingTest::~RecordingTest() {
    end();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

int RecordingTest::record(int seconds, const std::string& name, const char* options,
                          const char* video) const {
    return VNRecMan2(k360p, video, "", seconds, folder_.c_str(), name.c_str(), options);
}

int RecordingTest::end() {
    int id = 0;
    const int acquired = VNAcquire(kRecordingApp, &id);
    if (acquired != VNRES_SUCCEED) return acquired;
    const int stopped = VNStop(id);
    VNRelease(id);
    return stopped;
}

std::vector<std::filesystem::path> RecordingTest::files(bool open) const {
    std::vector<std::filesystem::path> found = filesIn(folder_);
    std::erase_if(found, [open](const auto& path) { return (path.extension() == ".part") != open; });
    return found;
}

std::vector<std::filesystem::path> RecordingTest::finished() const {
    return files(false);
}

std::vector<std::filesystem::path> RecordingTest::unfinished() const {
    return files(true);
}

bool RecordingTest::waitForFiles(std::size_t count) const {
    return waitUntil([&] { return finished().size() >= count; });
}

RecordingMessages::RecordingMessages() {
    application()->RegisterMessageProcessCallback([box = box_](kep::base::Message& message) {
        box->put(message.ToString());
        return true;
    });
}

RecordingMessages::~RecordingMessages() {
    if (auto* const app = application()) app->RegisterMessageProcessCallback({});
}

std::vector<std::string> RecordingMessages::all(const std::string& name) const {
    std::vector<std::string> found = box_->all("name=" + name);
    // Without longer names that have this one as a prefix.
    std::erase_if(found, [&](const std::string& text) {
        return text.size() > name.size() + 5 && text[name.size() + 5] != ',';
    });
    return found;
}

bool RecordingMessages::waitFor(const std::string& name, std::size_t count) const {
    return waitUntil([&] { return all(name).size() >= count; });
}

int RecordingMessages::lost(const std::string& media) const {
    int packets = 0;
    for (const std::string& text : all("frameLost")) {
        const kep::base::AttrSet attributes(text.c_str());
        if (attributes.GetOrDef("media", "") == media) packets += attributes.GetOrDef<int>("lost", 0);
    }
    return packets;
}

}  // namespace recording_test
