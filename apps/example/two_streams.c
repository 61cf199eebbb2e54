/* Captures two sizes at once, and prints each message with the name of the stream that sent it. */
#include <stdio.h>
#include <stdlib.h>

#include "vornisa_api.h"
#include "vornisa_message.h"

enum { FRAME_BYTES = 4 * 1024 * 1024, FRAMES = 30 };

struct Stream {
    const char* name;
    int width, height;
    int id;
};

static struct Stream large = {"large", 1280, 720, 0};
static struct Stream small = {"small", 640, 360, 0};

static void onMessage(const struct Stream* stream, const char* message) {
    int64_t lost = 0;
    if (VNMessageIs(message, "frameLost") && VNMessageNumber(message, "lost", &lost))
        printf("%s: %d frames lost\n", stream->name, (int)lost);
    else
        printf("%s: %s\n", stream->name, message);
}

VN_MESSAGE_CALLBACK(onLargeMessage, onMessage, &large)
VN_MESSAGE_CALLBACK(onSmallMessage, onMessage, &small)

static int start(struct Stream* stream, VNMessageCallback callback) {
    if (VNAcquire(VNRES_H264_SOURCE, &stream->id) != VNRES_SUCCEED) return 0;
    VNRegisterMessageCallback(stream->id, callback);
    VNSetResolution(stream->id, stream->width, stream->height);
    return VNStart(stream->id) == VNRES_SUCCEED;
}

static void end(const struct Stream* stream) {
    if (!stream->id) return;
    VNStop(stream->id);
    VNRelease(stream->id);
}

int main(void) {
    char* frame = malloc(FRAME_BYTES);
    int largeBytes = 0, smallBytes = 0;
    int read = 0;

    if (frame && start(&large, onLargeMessage) && start(&small, onSmallMessage)) {
        while (read < FRAMES && VNRead(large.id, frame, FRAME_BYTES, 1, &largeBytes) == VNRES_SUCCEED &&
               VNRead(small.id, frame, FRAME_BYTES, 1, &smallBytes) == VNRES_SUCCEED)
            ++read;
    }
    end(&small);
    end(&large);
    free(frame);
    return read == FRAMES ? 0 : 1;
}
