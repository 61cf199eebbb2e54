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
    double score; /**< distance from the classifier's decision boundary; larger is more certain */
};

/** Finds people in consecutive pictures of one camera. */
class KEP_API PeopleFinder {
  public:
    /**
     * @param model file of a detector of OpenCV's HOGDescriptor; empty for the built-in one
     * @param[out] reason why null is returned
     */
    static std::unique_ptr<PeopleFinder> make(const std::string& model, std::string& reason);
    virtual ~PeopleFinder();

    /** The people in the next picture: planar YUV or grey, of any size. */
    virtual std::vector<FoundPerson> find(const AVFrame& picture) = 0;
};

}  // namespace kep::host

#endif
