#ifndef VORNISA_PEOPLE_MODEL_H
#define VORNISA_PEOPLE_MODEL_H

#include <opencv2/objdetect.hpp>
#include <string>
#include <vector>

/** Writes a detector model that finds someone everywhere with the same score. */
inline void writeModel(const std::string& path, float score) {
    cv::HOGDescriptor detector;
    detector.winSize = cv::Size(448, 512);  // nearly the whole picture: each position is a result
    std::vector<float> weights(detector.getDescriptorSize() + 1);
    weights.back() = score;
    detector.setSVMDetector(weights);
    detector.save(path);
}

#endif
