#ifndef BENCH_ENCODER_ALONE_H
#define BENCH_ENCODER_ALONE_H

#include <vector>

/**
 * Encodes raw pictures one by one as a live source does (x264, ultrafast, zerolatency, one thread), one in
 * each frame time, as between two pictures processor and caches go to others, and takes the time of each.
 *
 * @param pictures planar YUV 4:2:0, each width * height * 3 / 2 bytes
 * @return milliseconds per picture; empty when there is no encoder
 */
std::vector<double> encodeAlone(const std::vector<std::vector<char>>& pictures, int width, int height,
                                int fps, int bitRate, int gop);

#endif
