#include <stdio.h>
#include <stdlib.h>

#include "vornisa_api.h"

enum { FRAME_BYTES = 4 * 1024 * 1024 };

int main(void) {
    char* frame = malloc(FRAME_BYTES);
    FILE* file = fopen("live.h264", "wb");
    int camera = 0;
    int length = 0;
    int count = 0;

    if (!frame || !file || VNAcquire(VNRES_H264_SOURCE, &camera) != VNRES_SUCCEED) return 1;
    VNSetResolution(camera, 1280, 720);
    VNSetFramerate(camera, 30);
    VNSetBps(camera, 1500000);
    VNSetH264Gop(camera, 30);
    if (VNStart(camera) != VNRES_SUCCEED) return 1;

    /* Each call waits for the next frame: ten seconds of 30 frames each. */
    while (count < 300 && VNRead(camera, frame, FRAME_BYTES, 1, &length) == VNRES_SUCCEED) {
        fwrite(frame, 1, (size_t)length, file);
        ++count;
    }

    VNStop(camera);
    VNRelease(camera);
    printf("live.h264: %d frames\n", count);
    free(frame);
    return fclose(file) == 0 && count == 300 ? 0 : 1;
}
