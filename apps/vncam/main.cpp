#include <cerrno>
#include <cstdio>
#include <cstring>

#include "command.h"

int main(int argc, char** argv) {
    const int code = vncam::runCommandLine(argc - 1, argv + 1);
    // Output counts only once it is written; a closed pipe is not a failure.
    if (std::fflush(stdout) != 0 && errno != EPIPE) {
        std::fprintf(stderr, "vncam: standard output: cannot write: %s\n", std::strerror(errno));
        return vncam::exitFailure;
    }
    return code;
}
