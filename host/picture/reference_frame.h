#ifndef KEP_HOST_REFERENCE_FRAME_H
#define KEP_HOST_REFERENCE_FRAME_H

namespace kep::host {

/** The frame of the coordinates of zones, stamps and results, whatever the size of the pictures. */
constexpr int kReferenceWidth = 1920;
constexpr int kReferenceHeight = 1080;

}  // namespace kep::host

#endif
