#ifndef VORNISA_IMAGE_SETTER_H
#define VORNISA_IMAGE_SETTER_H

// Positions, in a frame of 1920x1080, that the second program covers: above the number of the test picture.
inline constexpr int kZoneX = 300;
inline constexpr int kZoneY = 300;
inline constexpr int kStampX = 1200;
inline constexpr int kStampY = 300;
inline constexpr int kSide = 120;

#endif
