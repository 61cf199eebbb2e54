#ifndef VORNISA_PEOPLE_MODEL_H
#define VORNISA_PEOPLE_MODEL_H

#include <opencv2/objdetect.hpp>
#include <string>
#include <vector>

/** Writes a detector that finds someone wherever it looks, with the same score. */
inline void writeModel(const std::string& path, float score) {
    cv::HOGDescriptor detector;
    detector.winSize = cv::Size(448, 512);  // nearly the picture: each place is a result, and costs time
    std::vector<float> weights(detector.getDescriptorSize() + 1);
    weights.back() = score;
    detector.setSVMDetector(weights);
    detector.save(path);
}

#endif
