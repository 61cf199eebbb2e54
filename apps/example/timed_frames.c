/* Reads a stream on a thread of its own, so that the application can wait with a limit, and gives each frame
 * a time stamp. Ends with what that cost. */
#define _POSIX_C_SOURCE 200809L
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include "vornisa_api.h"

enum { FRAME_BYTES = 4 * 1024 * 1024, FPS = 30, FRAMES = 60, LIMIT_MS = 200 };
static const double kFrameTime = 1.0 / FPS;

/* The newest frame. The reader fills one buffer while the application looks at the other. */
static struct {
    pthread_mutex_t mutex;
    pthread_cond_t changed;
    char* bytes;
    int length;
    double read;  /* seconds of the monotonic clock when VNRead returned */
    double stamp; /* the same without the unsteadiness of the reading */
    int fresh;    /* the application has not had it yet */
    int ended;
} newest = {.mutex = PTHREAD_MUTEX_INITIALIZER};

static double now(void) {
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return (double)time.tv_sec + (double)time.tv_nsec / 1e9;
}

/* Frames come at even distances, reads do not: the stamp is a frame time after the last one and follows the
 * reads slowly. After a lost frame or a pause it starts anew. */
static double nextStamp(double last, double read) {
    const double expected = last + kFrameTime;
    const double off = read - expected;
    return last == 0 || off > kFrameTime || off < -kFrameTime ? read : expected + off / 16;
}

static void* readFrames(void* camera) {
    char* mine = malloc(FRAME_BYTES);
    double stamp = 0;
    int length = 0;
    while (mine && VNRead(*(int*)camera, mine, FRAME_BYTES, 1, &length) == VNRES_SUCCEED) {
        const double read = now();
        stamp = nextStamp(stamp, read);
        pthread_mutex_lock(&newest.mutex);
        char* const given = newest.bytes;
        newest.bytes = mine;
        mine = given;
        newest.length = length;
        newest.read = read;
        newest.stamp = stamp;
        newest.fresh = 1;
        pthread_cond_signal(&newest.changed);
        pthread_mutex_unlock(&newest.mutex);
    }
    pthread_mutex_lock(&newest.mutex);
    newest.ended = 1;
    pthread_cond_signal(&newest.changed);
    pthread_mutex_unlock(&newest.mutex);
    free(mine);
    return NULL;
}

/* Waits with the mutex held until there is a frame; 0 when the limit passed or the stream ended. */
static int waitForFrame(void) {
    struct timespec limit;
    clock_gettime(CLOCK_MONOTONIC, &limit);
    limit.tv_nsec += LIMIT_MS * 1000000L;
    limit.tv_sec += limit.tv_nsec / 1000000000L;
    limit.tv_nsec %= 1000000000L;
    while (!newest.fresh && !newest.ended)
        if (pthread_cond_timedwait(&newest.changed, &newest.mutex, &limit) != 0) break;
    return newest.fresh;
}

static double furthest(double most, double value) {
    const double size = value < 0 ? -value : value;
    return size > most ? size : most;
}

int main(void) {
    int camera = 0, frames = 0, waits = 0;
    double lastRead = 0, lastStamp = 0, unsteadyReads = 0, unsteadyStamps = 0, handedOver = 0;
    pthread_t reader;
    pthread_condattr_t monotonic;

    pthread_condattr_init(&monotonic);
    pthread_condattr_setclock(&monotonic, CLOCK_MONOTONIC);
    pthread_cond_init(&newest.changed, &monotonic);
    newest.bytes = malloc(FRAME_BYTES);
    if (!newest.bytes || VNAcquire(VNRES_H264_SOURCE, &camera) != VNRES_SUCCEED) return 1;
    VNSetResolution(camera, 1280, 720);
    VNSetFramerate(camera, FPS);
    if (VNStart(camera) != VNRES_SUCCEED || pthread_create(&reader, NULL, readFrames, &camera) != 0) return 1;

    pthread_mutex_lock(&newest.mutex);
    while (frames < FRAMES && !newest.ended) {
        if (!waitForFrame()) {
            ++waits; /* the time to look after other things */
            continue;
        }
        newest.fresh = 0;
        handedOver += now() - newest.read;
        if (lastStamp > 0) {
            unsteadyReads = furthest(unsteadyReads, newest.read - lastRead - kFrameTime);
            unsteadyStamps = furthest(unsteadyStamps, newest.stamp - lastStamp - kFrameTime);
        }
        lastRead = newest.read;
        lastStamp = newest.stamp;
        ++frames; /* a real application would use newest.bytes here, or swap it for a buffer of its own */
    }
    pthread_mutex_unlock(&newest.mutex);

    VNStop(camera); /* ends the VNRead of the reader */
    pthread_join(reader, NULL);
    VNRelease(camera);
    printf("%d frames, %d waits without one\n", frames, waits);
    printf("distances off by at most %.2f ms as read, %.2f ms as stamped\n", 1e3 * unsteadyReads,
           1e3 * unsteadyStamps);
    printf("handed over in %.3f ms on average\n", 1e3 * handedOver / FRAMES);
    free(newest.bytes);
    return frames == FRAMES ? 0 : 1;
}
