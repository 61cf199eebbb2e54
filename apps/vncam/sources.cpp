#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "command.h"
#include "devices.h"
#include "options.h"
#include "output_capture.h"
#include "vornisa_api.h"

namespace vncam {
namespace {

constexpr Usage kSourcesUsage{"sources", "",
                              "Lists the resources, the settings and the devices of this workstation.", ""};

struct TypeRow {
    VNRes_Type type;
    const char* name;
    const char* about;
};

#define VNCAM_TYPE(type, about) \
    { type, #type, about }
constexpr TypeRow kTypes[] = {
    VNCAM_TYPE(VNRES_REC_MAN, "recording manager"),     VNCAM_TYPE(VNRES_YUV_SOURCE, "raw pictures"),
    VNCAM_TYPE(VNRES_H264_SOURCE, "H.264 video"),       VNCAM_TYPE(VNRES_PCM_SOURCE, "PCM sound"),
    VNCAM_TYPE(VNRES_AAC_SOURCE, "AAC sound"),          VNCAM_TYPE(VNRES_PCM_PLAYER, "loudspeaker"),
    VNCAM_TYPE(VNRES_AAC_ENCODER, "AAC encoder"),       VNCAM_TYPE(VNRES_AAC_DECODER, "AAC decoder"),
    VNCAM_TYPE(VNRES_QRCODE, "QR code reader"),         VNCAM_TYPE(VNRES_PHOTOGRAPHY, "still pictures"),
    VNCAM_TYPE(VNRES_EVENT_SERVICE, "event recording"), VNCAM_TYPE(VNRES_SHARED_MEMORY, "shared memory"),
    VNCAM_TYPE(VNRES_STAMP, "stamps in the picture"),   VNCAM_TYPE(VNRES_DEMUX, "MP4 reader"),
    VNCAM_TYPE(VNRES_HUMAN_SHM, "people found"),
};
#undef VNCAM_TYPE

/** Acquires and releases one resource; returns the result as text. */
std::string tryType(VNRes_Type type) {
    // The table shows the reason of a refusal, without colours and source positions.
    setenv("KEP_HOST_LOG_FORMAT", "message", 1);
    const OutputCapture capture(STDERR_FILENO);
    int id = 0;
    if (VNAcquire(type, &id) == VNRES_SUCCEED) {
        VNRelease(id);
        return "available";
    }
    const std::string message = capture.firstLine();
    // Drop the position: the user did not write the description.
    const std::string reason = message.substr(0, message.find(" at position "));
    return reason.empty() ? "refused" : "refused: " + reason;
}

void printTypes() {
    std::puts("Resources:");
    for (const TypeRow& row : kTypes)
        std::printf("  %2d  %-20s  %-22s  %s\n", row.type, row.name, row.about, tryType(row.type).c_str());
}

struct SettingRow {
    const char* variable;
    const char* whenUnset;
};

constexpr SettingRow kSettings[] = {
    {"KEP_HOST_VIDEO", "test"},
    {"KEP_HOST_AUDIO", "test"},
    {"KEP_HOST_SPEAKER", "null"},
    {"KEP_HOST_PRERECORD", "always"},
    {"KEP_HOST_SHM", "the names that a board uses"},
    {"KEP_HOST_PEOPLE_MODEL", "built in"},
    {"KEP_HOST_LOG", "8"},
    {"KEP_HOST_LOG_FORMAT", "full"},
};

void printSettings() {
    std::puts("\nSettings (environment):");
    for (const SettingRow& row : kSettings) {
        const char* value = std::getenv(row.variable);
        const bool set = value && *value;
        std::printf("  %-21s  %s%s\n", row.variable, set ? value : row.whenUnset, set ? "" : " (not set)");
    }
}

void printDevices(const char* variable, const std::vector<Device>& devices) {
    for (const Device& device : devices)
        std::printf("  %s=%-20s  %s\n", variable, device.setting.c_str(), device.name.c_str());
}

}  // namespace

int runSources(int argc, char** argv) {
    std::vector<std::string> operands;
    if (!parseOptions(argc, argv, kSourcesUsage, {}, operands)) return exitOk;
    if (!operands.empty()) throw UsageError("unexpected argument '" + operands.front() + "'");

    printTypes();
    printSettings();
    const auto cameras = findCameras("/");
    const auto microphones = findMicrophones("/");
    const auto speakers = findSpeakers("/");
    std::puts("\nDevices found:");
    if (cameras.empty() && microphones.empty() && speakers.empty()) std::puts("  none");
    printDevices("KEP_HOST_VIDEO", cameras);
    printDevices("KEP_HOST_AUDIO", microphones);
    printDevices("KEP_HOST_SPEAKER", speakers);
    return exitOk;
}

}  // namespace vncam
