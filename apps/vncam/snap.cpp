#include <string>
#include <vector>

#include "command.h"
#include "options.h"
#include "resource.h"
#include "values.h"

namespace vncam {
namespace {

constexpr Usage kUsage{"snap", "", "Takes a still picture and writes it as a JPEG file.",
                       "An existing file is replaced only once the new picture is complete."};

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
    if (!parseOptions(argc, argv, kUsage, options, operands)) return exitOk;
    if (!operands.empty()) throw UsageError("unexpected argument '" + operands.front() + "'");
    if (file.empty()) throw UsageError("missing option: -o FILE");
    check(VNTakePic(file.c_str(), size.width, size.height), file + ": VNTakePic");
    return exitOk;
}

}  // namespace vncam
