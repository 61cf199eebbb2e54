/**
 * @file
 * Changes to the picture (zones, stamps, mirroring, anti-flicker) and detection of people. Include
 * vornisa_api.h.
 *
 * Coordinates are pixels of a frame of 1920x1080, whatever the size of the video; x counts from the left, y
 * from the top.
 *
 * This library checks the number of a privacy zone, as nothing below it does: a wrong one would overwrite
 * memory outside the table of zones.
 */
#ifndef VORNISA_PICTURE_H
#define VORNISA_PICTURE_H

#include "vornisa_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Shows or hides a privacy zone, which keeps its position and colour. Until this has been called for at least
 * one zone, none is drawn.
 *
 * @param idx    zone, 0 to 15
 * @param enable 0 hides the zone, any other value shows it
 *
 * @retval VNRES_SUCCEED stored
 * @retval VNRES_FAIL    the table of zones is not available, or `idx` is out of range; nothing is stored
 */
VN_API int VNZonesEnable(int idx, int enable);

/**
 * Sets the position, size and colour of a privacy zone. It does not show the zone: see VNZonesEnable. A zone
 * that is already shown may appear half changed in one frame.
 *
 * @param idx   zone, 0 to 15
 * @param x     left edge; passed on unchecked, like y, w and h
 * @param y     top edge
 * @param w     width
 * @param h     height
 * @param color 0x00RRGGBB; bits 24-31 are ignored
 *
 * @retval VNRES_SUCCEED stored
 * @retval VNRES_FAIL    the table of zones is not available, or `idx` is out of range; nothing is stored
 */
VN_API int VNZonesSet(int idx, int x, int y, int w, int h, VNRes_Color color);

/**
 * Like VNZonesSet, but the zone is given in cells of a 16x16 grid over the frame. Both corner cells belong to
 * the zone. If the second corner is left of the first, the zone is one cell wide; if it is above the first,
 * one cell high. The grid reaches slightly beyond the right and the lower edge of the frame.
 *
 * @param idx   zone, 0 to 15
 * @param rect  column of the first corner in bits 24-31, its row in 16-23, column of the second corner in
 * 8-15, its row in 0-7; numbers above 15 are not refused
 * @param color 0x00RRGGBB; bits 24-31 are ignored
 *
 * @retval VNRES_SUCCEED stored
 * @retval VNRES_FAIL    the table of zones is not available, or `idx` is out of range; nothing is stored
 */
VN_API int VNZonesSet2(int idx, unsigned int rect, VNRes_Color color);

/**
 * Sets the character size and font of a stamp, a text drawn into the picture.
 *
 * @param id   handle of a VNRES_STAMP; not 0
 * @param w    width of a character; not 0
 * @param h    height of a character; not 0
 * @param font in: name of the font, interpreted by the framework; not null
 *
 * @retval VNRES_SUCCEED     done
 * @retval VNRES_FAIL        `id` is 0, its object has no properties, or the stamp refused the values
 * @retval VNRES_INVALID_ARG `w` or `h` is 0, or `font` is null
 */
VN_API int VNStampInit0(int id, int w, int h, const char* font);

/**
 * Sets the position, colour and text of a stamp.
 *
 * @param id      handle of a VNRES_STAMP; not 0
 * @param x       left edge; 0 leaves it unchanged
 * @param y       top edge; 0 leaves it unchanged
 * @param color   0x00RRGGBB; bits 24-31 are ignored
 * @param pattern in: the text, interpreted by the framework; null leaves it unchanged
 *
 * @retval VNRES_SUCCEED done
 * @retval VNRES_FAIL    `id` is 0, its object has no properties, or the stamp refused the values
 */
VN_API int VNStampSet0(int id, int x, int y, VNRes_Color color, const char* pattern);

/**
 * Like VNStampSet0, but the colour has an alpha value.
 *
 * @param id      handle of a VNRES_STAMP; not 0
 * @param x       left edge; 0 leaves it unchanged
 * @param y       top edge; 0 leaves it unchanged
 * @param color   0xAARRGGBB
 * @param pattern in: the text, interpreted by the framework; null leaves it unchanged
 *
 * @retval VNRES_SUCCEED done
 * @retval VNRES_FAIL    `id` is 0, its object has no properties, or the stamp refused the values
 */
VN_API int VNStampSet11(int id, int x, int y, unsigned int color, const char* pattern);

/**
 * Sets the background colour of a stamp.
 *
 * @param id    handle of a VNRES_STAMP; not 0
 * @param color 0xAARRGGBB
 *
 * @retval VNRES_SUCCEED done
 * @retval VNRES_FAIL    `id` is 0, its object has no properties, or the stamp refused the values
 */
VN_API int VNStampBgColorSet1(int id, unsigned int color);

/**
 * Shows or hides a stamp.
 *
 * @param id     handle of a VNRES_STAMP; not 0
 * @param enable 0 hides the stamp, any other value shows it
 *
 * @retval VNRES_SUCCEED done
 * @retval VNRES_FAIL    `id` is 0, its object has no properties, or the stamp refused the values
 */
VN_API int VNStampEnable0(int id, int enable);

/**
 * VNStampInit0 for the library's own stamp. The first call of any function that uses this stamp acquires it,
 * and the library keeps it until the process ends; that first call must not run at the same time as another
 * one, or as any acquisition or release. VNStampInit can only be that first call: it fails when the stamp
 * exists, even if an earlier VNStampInit acquired it and then failed because of its arguments.
 *
 * @param w    width of a character; not 0
 * @param h    height of a character; not 0
 * @param font in: name of the font, interpreted by the framework; not null
 *
 * @retval VNRES_SUCCEED     done
 * @retval VNRES_FAIL        the stamp already exists, cannot be acquired, or refused the values
 * @retval VNRES_INVALID_ARG `w` or `h` is 0, or `font` is null; the stamp exists from now on
 */
VN_API int VNStampInit(int w, int h, const char* font);

/**
 * VNStampSet0 for the library's own stamp; see VNStampInit.
 *
 * @param x       left edge; 0 leaves it unchanged
 * @param y       top edge; 0 leaves it unchanged
 * @param color   0x00RRGGBB; bits 24-31 are ignored
 * @param pattern in: the text, interpreted by the framework; null leaves it unchanged
 *
 * @retval VNRES_SUCCEED done
 * @retval VNRES_FAIL    the stamp cannot be acquired, or refused the values
 */
VN_API int VNStampSet(int x, int y, VNRes_Color color, const char* pattern);

/**
 * VNStampSet11 for the library's own stamp; see VNStampInit.
 *
 * @param x       left edge; 0 leaves it unchanged
 * @param y       top edge; 0 leaves it unchanged
 * @param color   0xAARRGGBB
 * @param pattern in: the text, interpreted by the framework; null leaves it unchanged
 *
 * @retval VNRES_SUCCEED done
 * @retval VNRES_FAIL    the stamp cannot be acquired, or refused the values
 */
VN_API int VNStampSet1(int x, int y, unsigned int color, const char* pattern);

/**
 * VNStampBgColorSet1 for the library's own stamp; see VNStampInit.
 *
 * @param color 0xAARRGGBB
 *
 * @retval VNRES_SUCCEED done
 * @retval VNRES_FAIL    the stamp cannot be acquired, or refused the values
 */
VN_API int VNStampBgColorSet(unsigned int color);

/**
 * VNStampEnable0 for the library's own stamp; see VNStampInit.
 *
 * @param enable 0 hides the stamp, any other value shows it
 *
 * @retval VNRES_SUCCEED done
 * @retval VNRES_FAIL    the stamp cannot be acquired, or refused the values
 */
VN_API int VNStampEnable(int enable);

/**
 * Mirrors the picture. If a step fails, nothing is undone: the picture may then be mirrored in one direction
 * only.
 *
 * @param mode 0 not mirrored, 1 left and right swapped, 2 top and bottom swapped, 3 both
 *
 * @retval VNRES_SUCCEED     done
 * @retval VNRES_UNSUPPORTED `mode` is none of these; no line is written
 * @retval VNRES_FAIL        the image pipeline cannot be reached (one line), or refused (no line)
 */
VN_API int VNTurnVideo(int mode);

/**
 * Switches anti-flicker on or off: the exposure then avoids the flicker of artificial light.
 *
 * @param enable 0 switches it off, any other value on
 *
 * @retval VNRES_SUCCEED done
 * @retval VNRES_FAIL    the image pipeline cannot be reached (one line), or refused (no line)
 */
VN_API int VNAeFlick(int enable);

/**
 * Starts a detection of people, which runs until the process ends; VNRES_HUMAN_SHM delivers the results.
 * Every call starts another detection. Negative values are passed on unchecked.
 *
 * @param width  width of the searched pictures in pixels; not 0
 * @param height height of the searched pictures in pixels; not 0
 * @param fps    searched pictures per second; not 0
 *
 * @retval VNRES_SUCCEED     running
 * @retval VNRES_INVALID_ARG an argument is 0
 * @retval VNRES_FAIL        the framework did not create the detection, or did not start it and keeps it
 */
VN_API int VNHumanDetect(int width, int height, int fps);

#ifdef __cplusplus
}
#endif

#endif
