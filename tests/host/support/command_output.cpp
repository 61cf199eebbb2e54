#include "command_output.h"

#include <gtest/gtest.h>

#include <cstdio>

std::string outputOf(const std::string& command) {
    std::string output;
    FILE* const pipe = popen((command + " 2>&1").c_str(), "r");
    char part[1 << 16];
    while (const std::size_t got = pipe ? std::fread(part, 1, sizeof part, pipe) : 0)
        output.append(part, got);
    EXPECT_EQ(pipe ? pclose(pipe) : -1, 0) << command << "\n" << output.substr(0, 500);
    return output;
}
