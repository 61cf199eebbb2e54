#ifndef KEP_HOST_PEOPLE_H
#define KEP_HOST_PEOPLE_H

#include <memory>
#include <string>
#include <vector>

#include "kep/visibility.h"
#include "media/common/ffmpeg.h"

namespace kep::host {

/** A person in a frame of 1920x1080. */
struct FoundPerson {
    int x, y, w, h;
    double score; /**< distance from the model's border; larger is surer */
};

/** Finds people in the pictures of one camera, given in their order. */
class KEP_API PeopleFinder {
  public:
    /**
     * @param model a file of a histogram-of-gradients detector in OpenCV's format; empty for the built-in one
     * @param[out] reason why null is returned
     */
    static std::unique_ptr<PeopleFinder> make(const std::string& model, std::string& reason);
    virtual ~PeopleFinder();

    /** The people in the next picture, which is planar YUV or grey, of any size. */
    virtual std::vector<FoundPerson> find(const AVFrame& picture) = 0;
};

}  // namespace kep::host

#endif
