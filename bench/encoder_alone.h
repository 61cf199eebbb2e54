#ifndef BENCH_ENCODER_ALONE_H
#define BENCH_ENCODER_ALONE_H

#include <vector>

/**
 * Encodes raw pictures as a live source does (x264, ultrafast, zerolatency, one thread) and measures the time
 * of each. Pictures are a frame time apart, so that other work uses CPU and caches in between.
 *
 * @param pictures planar YUV 4:2:0, each width * height * 3 / 2 bytes
 * @return milliseconds per picture; empty when the encoder is missing or fails
 */
std::vector<double> encodeAlone(const std::vector<std::vector<char>>& pictures, int width, int height,
                                int fps, int bitRate, int gop);

#endif
