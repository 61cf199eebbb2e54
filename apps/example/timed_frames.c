/* Reads a stream on a thread of its own, so that the application can wait for a frame with a timeout, and
 * gives each frame a time stamp. Finally prints the jitter and the cost of the hand-over. */
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
    double stamp; /* the same with the jitter of the reads filtered out */
    int fresh;    /* the application has not taken it yet */
    int ended;
} newest = {.mutex = PTHREAD_MUTEX_INITIALIZER};

static double now(void) {
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return (double)time.tv_sec + (double)time.tv_nsec / 1e9;
}

/* Frames are evenly spaced, reads are not: a stamp is one frame time after the last one, corrected by 1/16 of
 * its distance from the read. After a lost frame or a pause it restarts at the time of the read. */
static double nextStamp(double last, double read) {
    const double expected = last + kFrameTime;
    const double off = read - expected;
    return last == 0 || off > kFrameTime || off < -kFrameTime ? read : expected + off / 16;
}

static void* readFrames(void* camera) {
    char* buffer = malloc(FRAME_BYTES);
    double stamp = 0;
    int length = 0;
    while (buffer && VNRead(*(int*)camera, buffer, FRAME_BYTES, 1, &length) == VNRES_SUCCEED) {
        const double read = now();
        stamp = nextStamp(stamp, read);
        pthread_mutex_lock(&newest.mutex);
        char* const previous = newest.bytes;
        newest.bytes = buffer;
        buffer = previous;
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
    free(buffer);
    return NULL;
}

/* Call with the mutex locked. Returns 0 after LIMIT_MS without a frame, or when the stream has ended. */
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

static double largerDeviation(double largest, double value) {
    const double deviation = value < 0 ? -value : value;
    return deviation > largest ? deviation : largest;
}

int main(void) {
    int camera = 0, frames = 0, timeouts = 0;
    double lastRead = 0, lastStamp = 0, readJitter = 0, stampJitter = 0, handOver = 0;
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
            ++timeouts; /* a real application would do its other work here */
            continue;
        }
        newest.fresh = 0;
        handOver += now() - newest.read;
        if (lastStamp > 0) {
            readJitter = largerDeviation(readJitter, newest.read - lastRead - kFrameTime);
            stampJitter = largerDeviation(stampJitter, newest.stamp - lastStamp - kFrameTime);
        }
        lastRead = newest.read;
        lastStamp = newest.stamp;
        ++frames; /* a real application would use newest.bytes here, or swap it for a buffer of its own */
    }
    pthread_mutex_unlock(&newest.mutex);

    VNStop(camera); /* ends the VNRead of the reader */
    pthread_join(reader, NULL);
    VNRelease(camera);
    printf("%d frames, %d timeouts\n", frames, timeouts);
    printf("maximum jitter: %.2f ms of the reads, %.2f ms of the stamps\n", 1e3 * readJitter,
           1e3 * stampJitter);
    printf("average hand-over to the application: %.3f ms\n", 1e3 * handOver / FRAMES);
    free(newest.bytes);
    return frames == FRAMES ? 0 : 1;
}
