#ifndef VNCAM_MARKED_PICTURE_H
#define VNCAM_MARKED_PICTURE_H

#include <string>
#include <vector>

namespace vncam {

/** A rectangle in a frame of 1920x1080. */
struct Mark {
    int x, y, w, h;
};

/** Draws the rectangles' edges into a JPEG file, which is replaced atomically; throws Failure naming it. */
void markPicture(const std::string& path, const std::vector<Mark>& marks);

}  // namespace vncam

#endif
