#include <string>
#include <vector>

#include "command.h"
#include "options.h"
#include "resource.h"
#include "values.h"

namespace vncam {
namespace {

constexpr Usage usage{"snap", "", "Takes a still picture and writes it as a JPEG file.",
                      "An older picture of the name is replaced by the new one, whole or not at all."};

}  // namespace

int runSnap(int argc, char** argv) {
    Size size{1920, 1080};
    std::string file;
    const std::vector<Option> options = {
        {"size", "WxH", "picture size (1920x1080)",
         [&](const std::string& text) { size = parseSize("--size", text); }},
        {"output", "FILE", "name of the picture", [&](const std::string& text) { file = text; }, 'o'},
    };
    std::vector<std::string> operands;
    if (!parseOptions(argc, argv, usage, options, operands)) return exitOk;
    if (!operands.empty()) throw UsageError("unexpected argument '" + operands.front() + "'");
    if (file.empty()) throw UsageError("which file? Give -o FILE");
    check(VNTakePic(file.c_str(), size.width, size.height), file + ": VNTakePic");
    return exitOk;
}

}  // namespace vncam
