/**
 * @file
 * What the camera does to the picture, and what it sees in it. Include vornisa_api.h.
 *
 * Coordinates are pixels of a frame of 1920x1080, whatever the size of the video; x counts from the left, y
 * from the top.
 *
 * The number of a privacy zone is checked, and that is a decision of this library: nothing behind it would
 * stop a wrong one from overwriting memory that is not the zones'.
 */
#ifndef VORNISA_PICTURE_H
#define VORNISA_PICTURE_H

#include "vornisa_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Shows or hides a privacy zone, which keeps its place and colour. Until this has been called for any zone,
 * none is drawn.
 *
 * @param idx    zone, 0 to 15
 * @param enable 0 hides the zone, any other value shows it
 *
 * @retval VNRES_SUCCEED stored
 * @retval VNRES_FAIL    there is no table of zones to be had, or `idx` is not a zone; nothing is stored
 */
VN_API int VNZonesEnable(int idx, int enable);

/**
 * Sets the place and colour of a privacy zone. It does not show the zone: see VNZonesEnable. A zone that is
 * shown already may appear half changed in one frame.
 *
 * @param idx   zone, 0 to 15
 * @param x     left edge; passed on unchecked, as y, w and h
 * @param y     top edge
 * @param w     width
 * @param h     height
 * @param color 0x00RRGGBB; bits 24-31 do not count
 *
 * @retval VNRES_SUCCEED stored
 * @retval VNRES_FAIL    there is no table of zones to be had, or `idx` is not a zone; nothing is stored
 */
VN_API int VNZonesSet(int idx, int x, int y, int w, int h, VNRes_Color color);

/**
 * Like VNZonesSet, but the zone is given in cells of a grid of 16x16 over the frame. Both corner cells belong
 * to the zone. A second corner left of the first makes the zone one cell wide, one above it makes it one cell
 * high. 16 cells reach a little beyond the right and the lower edge of the frame.
 *
 * @param idx   zone, 0 to 15
 * @param rect  column of the first corner in bits 24-31, its row in 16-23, column of the second corner in
 * 8-15, its row in 0-7; cells beyond 15 are not refused
 * @param color 0x00RRGGBB; bits 24-31 do not count
 *
 * @retval VNRES_SUCCEED stored
 * @retval VNRES_FAIL    there is no table of zones to be had, or `idx` is not a zone; nothing is stored
 */
VN_API int VNZonesSet2(int idx, unsigned int rect, VNRes_Color color);

/**
 * Prepares a stamp, a text drawn into the picture.
 *
 * @param id   handle of a VNRES_STAMP; not 0
 * @param w    width of a character; not 0
 * @param h    height of a character; not 0
 * @param font in: name of the font, read by the framework; not null
 *
 * @retval VNRES_SUCCEED     done
 * @retval VNRES_FAIL        `id` is 0 or not of an object with properties, or the stamp refused
 * @retval VNRES_INVALID_ARG `w` or `h` is 0, or `font` is null
 */
VN_API int VNStampInit0(int id, int w, int h, const char* font);

/**
 * Sets the place, colour and text of a stamp.
 *
 * @param id      handle of a VNRES_STAMP; not 0
 * @param x       left edge; 0 leaves it where it is
 * @param y       top edge; 0 leaves it where it is
 * @param color   0x00RRGGBB; bits 24-31 do not count
 * @param pattern in: the text, read by the framework; null leaves it as it is
 *
 * @retval VNRES_SUCCEED done
 * @retval VNRES_FAIL    `id` is 0 or not of an object with properties, or the stamp refused
 */
VN_API int VNStampSet0(int id, int x, int y, VNRes_Color color, const char* pattern);

/**
 * Like VNStampSet0, but with a colour that has an alpha.
 *
 * @param id      handle of a VNRES_STAMP; not 0
 * @param x       left edge; 0 leaves it where it is
 * @param y       top edge; 0 leaves it where it is
 * @param color   0xAARRGGBB
 * @param pattern in: the text, read by the framework; null leaves it as it is
 *
 * @retval VNRES_SUCCEED done
 * @retval VNRES_FAIL    `id` is 0 or not of an object with properties, or the stamp refused
 */
VN_API int VNStampSet11(int id, int x, int y, unsigned int color, const char* pattern);

/**
 * Sets the background of a stamp.
 *
 * @param id    handle of a VNRES_STAMP; not 0
 * @param color 0xAARRGGBB
 *
 * @retval VNRES_SUCCEED done
 * @retval VNRES_FAIL    `id` is 0 or not of an object with properties, or the stamp refused
 */
VN_API int VNStampBgColorSet1(int id, unsigned int color);

/**
 * Shows or hides a stamp.
 *
 * @param id     handle of a VNRES_STAMP; not 0
 * @param enable 0 hides the stamp, any other value shows it
 *
 * @retval VNRES_SUCCEED done
 * @retval VNRES_FAIL    `id` is 0 or not of an object with properties, or the stamp refused
 */
VN_API int VNStampEnable0(int id, int enable);

/**
 * VNStampInit0 for the library's own stamp. The library acquires it at the first call of any function that
 * uses it and keeps it until the process ends; that first call must not run beside another one, nor beside
 * any acquisition or release. This function can only be that first call: when the stamp exists it fails, also
 * when it exists because an earlier VNStampInit failed over its arguments.
 *
 * @param w    width of a character; not 0
 * @param h    height of a character; not 0
 * @param font in: name of the font, read by the framework; not null
 *
 * @retval VNRES_SUCCEED     done
 * @retval VNRES_FAIL        the stamp exists already, cannot be had, or refused
 * @retval VNRES_INVALID_ARG `w` or `h` is 0, or `font` is null; the stamp exists from now on
 */
VN_API int VNStampInit(int w, int h, const char* font);

/**
 * VNStampSet0 for the library's own stamp; see VNStampInit.
 *
 * @param x       left edge; 0 leaves it where it is
 * @param y       top edge; 0 leaves it where it is
 * @param color   0x00RRGGBB; bits 24-31 do not count
 * @param pattern in: the text, read by the framework; null leaves it as it is
 *
 * @retval VNRES_SUCCEED done
 * @retval VNRES_FAIL    the stamp cannot be had, or refused
 */
VN_API int VNStampSet(int x, int y, VNRes_Color color, const char* pattern);

/**
 * VNStampSet11 for the library's own stamp; see VNStampInit.
 *
 * @param x       left edge; 0 leaves it where it is
 * @param y       top edge; 0 leaves it where it is
 * @param color   0xAARRGGBB
 * @param pattern in: the text, read by the framework; null leaves it as it is
 *
 * @retval VNRES_SUCCEED done
 * @retval VNRES_FAIL    the stamp cannot be had, or refused
 */
VN_API int VNStampSet1(int x, int y, unsigned int color, const char* pattern);

/**
 * VNStampBgColorSet1 for the library's own stamp; see VNStampInit.
 *
 * @param color 0xAARRGGBB
 *
 * @retval VNRES_SUCCEED done
 * @retval VNRES_FAIL    the stamp cannot be had, or refused
 */
VN_API int VNStampBgColorSet(unsigned int color);

/**
 * VNStampEnable0 for the library's own stamp; see VNStampInit.
 *
 * @param enable 0 hides the stamp, any other value shows it
 *
 * @retval VNRES_SUCCEED done
 * @retval VNRES_FAIL    the stamp cannot be had, or refused
 */
VN_API int VNStampEnable(int enable);

/**
 * Mirrors the picture. When a step fails nothing is undone: the picture may then be mirrored in one direction
 * only.
 *
 * @param mode 0 not mirrored, 1 left and right exchanged, 2 top and bottom exchanged, 3 both
 *
 * @retval VNRES_SUCCEED     done
 * @retval VNRES_UNSUPPORTED `mode` is none of these; this writes no line
 * @retval VNRES_FAIL        the image pipeline cannot be reached, or refused; its refusal writes no line
 */
VN_API int VNTurnVideo(int mode);

/**
 * Has the exposure avoid the flicker of artificial light, or not.
 *
 * @param enable 0 switches this off, any other value on
 *
 * @retval VNRES_SUCCEED done
 * @retval VNRES_FAIL    the image pipeline cannot be reached, or refused; its refusal writes no line
 */
VN_API int VNAeFlick(int enable);

/**
 * Starts the detection of people, which runs until the process ends. The results are with VNRES_HUMAN_SHM.
 * Every call starts one more detection. Negative values are passed on unchecked.
 *
 * @param width  pixels of the pictures that are searched; not 0
 * @param height pixels of the pictures that are searched; not 0
 * @param fps    pictures per second; not 0
 *
 * @retval VNRES_SUCCEED     it runs
 * @retval VNRES_INVALID_ARG an argument is 0
 * @retval VNRES_FAIL        the framework did not create it, or did not start it and keeps it
 */
VN_API int VNHumanDetect(int width, int height, int fps);

#ifdef __cplusplus
}
#endif

#endif
