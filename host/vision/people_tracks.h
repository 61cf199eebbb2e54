#ifndef KEP_HOST_PEOPLE_TRACKS_H
#define KEP_HOST_PEOPLE_TRACKS_H

#include <cstddef>
#include <vector>

#include "kep/visibility.h"

namespace kep::host {

/** Bounding box of a person, in pixels of one picture size. */
struct PersonBox {
    double x, y, w, h;
    double score;
};

/**
 * Tracks boxes from picture to picture. A track is confirmed by boxes in two of three pictures, continues at
 * its last speed through two pictures without a box, and ends with the third.
 */
class KEP_API PeopleTracks {
  public:
    /** Takes the boxes of the next picture and returns those of the confirmed tracks. */
    std::vector<PersonBox> update(const std::vector<PersonBox>& boxes);

  private:
    struct Track {
        PersonBox box;
        double speedX, speedY; /**< pixels per picture */
        unsigned seen;         /**< a bit for each of the last three pictures, the newest lowest */
        bool isConfirmed;
    };
    void follow(const std::vector<PersonBox>& boxes, std::vector<bool>& isTaken);

    std::vector<Track> tracks_;
};

}  // namespace kep::host

#endif
