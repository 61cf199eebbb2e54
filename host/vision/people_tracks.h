#ifndef KEP_HOST_PEOPLE_TRACKS_H
#define KEP_HOST_PEOPLE_TRACKS_H

#include <cstddef>
#include <vector>

#include "kep/visibility.h"

namespace kep::host {

/** An upright rectangle where a person was found, in pixels of one picture size. */
struct PersonBox {
    double x, y, w, h;
    double score;
};

/**
 * Follows boxes from picture to picture. A person counts once two of three pictures have shown him, is
 * followed at his last speed through two pictures without him, and is gone with the third.
 */
class KEP_API PeopleTracks {
  public:
    /** Takes the boxes of the next picture and returns those who count in it. */
    std::vector<PersonBox> update(const std::vector<PersonBox>& boxes);

  private:
    struct Track {
        PersonBox box;
        double speedX, speedY; /**< pixels a picture */
        unsigned seen;         /**< a bit for each of the last three pictures, the newest lowest */
        bool isConfirmed;
    };
    void follow(const std::vector<PersonBox>& boxes, std::vector<bool>& isTaken);

    std::vector<Track> tracks_;
};

}  // namespace kep::host

#endif
