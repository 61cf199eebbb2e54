#ifndef KEP_HOST_PICTURE_SIZE_H
#define KEP_HOST_PICTURE_SIZE_H

namespace kep::host {

/** Whether a picture can have a side of so many pixels; if not, a line says so, with the side's name. */
bool isSide(const char* name, int pixels);

}  // namespace kep::host

#endif
