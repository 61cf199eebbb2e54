#ifndef KEP_HOST_FILMING_H
#define KEP_HOST_FILMING_H

namespace kep::host {

/** To be called by the constructor of each element that films or records: camera, microphone, ShmSource. */
void filmingBegins();

/** Has `hook` called by filmingBegins(), on any thread; null for nobody. */
void setFilmingHook(void (*hook)());

}  // namespace kep::host

#endif
