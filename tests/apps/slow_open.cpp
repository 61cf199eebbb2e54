// LD_PRELOAD: creating a file whose path contains $SLOW_OPEN takes half a second, as on a busy disk.
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdlib>
#include <cstring>

namespace {

using Open = int (*)(const char*, int, ...);

int slowOpen(const char* name, const char* path, int flags, va_list rest) {
    const int mode = flags & (O_CREAT | O_TMPFILE) ? va_arg(rest, int) : 0;
    const char* const slow = std::getenv("SLOW_OPEN");
    if ((flags & O_CREAT) && slow && std::strstr(path, slow)) usleep(500'000);
    return reinterpret_cast<Open>(dlsym(RTLD_NEXT, name))(path, flags, mode);
}

}  // namespace

extern "C" {

[[gnu::visibility("default")]] int open(const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const int file = slowOpen("open", path, flags, rest);
    va_end(rest);
    return file;
}

[[gnu::visibility("default")]] int open64(const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const int file = slowOpen("open64", path, flags, rest);
    va_end(rest);
    return file;
}
}
