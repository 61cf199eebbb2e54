/* The public header as a C application sees it: compiled as strict C, linked and called. */
#include <stddef.h>

#include "vornisa_api.h"
#include "vornisa_message.h"

#define HOLDS_AT_COMPILE_TIME(name, condition) typedef char name[(condition) ? 1 : -1]

HOLDS_AT_COMPILE_TIME(results, VNRES_SUCCEED == 0 && VNRES_FAIL == -1 && VNRES_WRONG_DEVICE == -2 &&
                                   VNRES_UNSUPPORTED == -3 && VNRES_BUFFER_ERROR == -4 &&
                                   VNRES_BUF_TOO_SMALL == -5 && VNRES_PUSH_FAIL == -6 &&
                                   VNRES_INVALID_ARG == -7);
HOLDS_AT_COMPILE_TIME(types, VNRES_REC_MAN == 31 && VNRES_YUV_SOURCE == 65 && VNRES_H264_SOURCE == 66 &&
                                 VNRES_PCM_SOURCE == 67 && VNRES_AAC_SOURCE == 68 && VNRES_PCM_PLAYER == 69 &&
                                 VNRES_AAC_ENCODER == 70 && VNRES_AAC_DECODER == 71 && VNRES_QRCODE == 72 &&
                                 VNRES_PHOTOGRAPHY == 73 && VNRES_EVENT_SERVICE == 74 &&
                                 VNRES_SHARED_MEMORY == 75 && VNRES_STAMP == 76 && VNRES_DEMUX == 77 &&
                                 VNRES_HUMAN_SHM == 78);
HOLDS_AT_COMPILE_TIME(colour, sizeof(VNRes_Color) == 4 && (VNRes_Color)-1 > 0);

static void ignore(const char* message) {
    (void)message;
}

#define EXPECT(condition) \
    if (!(condition)) return __LINE__

int main(void) {
    const VNMessageCallback callback = ignore;
    char buffer[4] = "abc";
    int id = 0;
    int running = 17;
    int length = 17;

    EXPECT(VNMessageIs("name=started", "started"));
    EXPECT(VNAcquire(64, &id) == VNRES_INVALID_ARG);
    EXPECT(id == 0);
    EXPECT(VNAcquire(VNRES_H264_SOURCE, &id) == VNRES_SUCCEED);
    EXPECT(id != 0);
    EXPECT(VNSetResolution(id, 1280, 720) == VNRES_SUCCEED);
    EXPECT(VNSetFramerate(id, 30) == VNRES_SUCCEED);
    EXPECT(VNSetBps(id, 2000000) == VNRES_SUCCEED);
    EXPECT(VNSetH264Gop(id, 15) == VNRES_SUCCEED);
    EXPECT(VNGetKeyFrame(id) == VNRES_SUCCEED);
    EXPECT(VNSetAudio(id, 48000, 2) == VNRES_WRONG_DEVICE);
    EXPECT(VNSetParams(id, "a=b") == VNRES_WRONG_DEVICE);
    EXPECT(VNRegisterMessageCallback(id, callback) == VNRES_SUCCEED);
    EXPECT(VNRegisterMessageCallback2(id, callback, &id) == VNRES_SUCCEED);
    EXPECT(VNStart(id) == VNRES_SUCCEED);
    EXPECT(VNIsRunning(id, &running) == VNRES_UNSUPPORTED);
    EXPECT(running == 17);
    EXPECT(VNRead(id, buffer, sizeof buffer, 0, &length) == VNRES_SUCCEED);
    EXPECT(length == 0);
    EXPECT(VNFeed(id, buffer, 3) == VNRES_WRONG_DEVICE);
    EXPECT(VNSwitchResolution(id, 640, 360) == VNRES_SUCCEED);
    EXPECT(VNStop(id) == VNRES_SUCCEED);
    EXPECT(VNRelease(id) == VNRES_SUCCEED);

    EXPECT(VNZonesEnable(0, 1) == VNRES_SUCCEED);
    EXPECT(VNZonesSet(0, 1, 2, 3, 4, VNRES_COLOR_ORANGE) == VNRES_SUCCEED);
    EXPECT(VNZonesSet2(0, 0x00000F0Fu, 0x123456) == VNRES_SUCCEED);
    EXPECT(VNStampInit0(0, 16, 32, "sans") == VNRES_FAIL);
    EXPECT(VNStampSet0(0, 1, 2, VNRES_COLOR_WHITE, "text") == VNRES_FAIL);
    EXPECT(VNStampSet11(0, 1, 2, 0xFF000000u, "text") == VNRES_FAIL);
    EXPECT(VNStampBgColorSet1(0, 0xFF000000u) == VNRES_FAIL);
    EXPECT(VNStampEnable0(0, 1) == VNRES_FAIL);
    EXPECT(VNStampInit(0, 32, "sans") == VNRES_INVALID_ARG);
    EXPECT(VNStampInit(16, 32, "sans") == VNRES_FAIL);
    EXPECT(VNStampSet(1, 2, VNRES_COLOR_WHITE, "text") == VNRES_SUCCEED);
    EXPECT(VNStampSet1(1, 2, 0xFF000000u, NULL) == VNRES_SUCCEED);
    EXPECT(VNStampBgColorSet(0xFF000000u) == VNRES_SUCCEED);
    EXPECT(VNStampEnable(1) == VNRES_SUCCEED);
    EXPECT(VNTurnVideo(4) == VNRES_UNSUPPORTED);
    EXPECT(VNAeFlick(1) == VNRES_SUCCEED);
    EXPECT(VNHumanDetect(0, 360, 5) == VNRES_INVALID_ARG);
    EXPECT(VNSetMicVol(50) == VNRES_SUCCEED);
    EXPECT(VNSetMicMute(1) == VNRES_SUCCEED);
    EXPECT(VNSetSpeakerVol(50) == VNRES_SUCCEED);
    EXPECT(VNSetSpeakerMute(1) == VNRES_SUCCEED);
    return 0;
}
