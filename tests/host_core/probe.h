#ifndef KEP_TESTS_PROBE_H
#define KEP_TESTS_PROBE_H

#include <sys/wait.h>

#include <cstdio>
#include <string>

struct Probe {
    int exitCode = -1;
    std::string output; /**< of standard output and standard error */
};

/** Runs the probe program with the selected streams. It is killed after 20 seconds, with exit code 124. */
inline Probe runProbe(const std::string& what, const std::string& streams = "8") {
    Probe probe;
    const std::string command = "KEP_HOST_LOG='" + streams + "' timeout 20 " CORE_PROBE " " + what + " 2>&1";
    FILE* const pipe = popen(command.c_str(), "r");
    if (!pipe) return probe;
    char part[4096];
    for (std::size_t got; (got = fread(part, 1, sizeof(part), pipe)) > 0;) probe.output.append(part, got);
    const int status = pclose(pipe);
    probe.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return probe;
}

#endif
