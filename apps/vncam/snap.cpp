#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "command.h"
#include "options.h"
#include "output.h"
#include "resource.h"
#include "values.h"

namespace vncam {
namespace {

constexpr Usage kSnapUsage{
    "snap", "", "Takes a still picture and writes it as a JPEG file.",
    "An existing file is replaced only once the new picture is complete. FILE may be - for "
    "standard\noutput: vncam snap -o - | feh -"};

/** Rejects extensions of other formats: the file is always a JPEG. */
void checkName(const std::string& file) {
    if (file.empty()) throw UsageError("missing option: -o FILE");
    std::string extension = std::filesystem::path(file).extension();
    std::ranges::transform(extension, extension.begin(),
                           [](unsigned char letter) { return std::tolower(letter); });
    if (!extension.empty() && extension != ".jpg" && extension != ".jpeg")
        throw UsageError("--output '" + file + "': pictures are JPEG files: NAME.jpg");
}

void take(const std::string& path, Size size, const std::string& name) {
    check(VNTakePic(path.c_str(), size.width, size.height), name + ": VNTakePic");
}

/** A folder that is removed with this object. */
class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string pattern = std::filesystem::temp_directory_path() / "vncamXXXXXX";
        if (!mkdtemp(pattern.data())) throw Failure(pattern + ": cannot create the folder");
        path_ = pattern;
    }
    ~TemporaryFolder() {
        std::error_code left;
        std::filesystem::remove_all(path_, left);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

/** VNTakePic writes files only: copies a temporary one. */
void takeToStandardOutput(Size size) {
    Output output("-");
    const TemporaryFolder folder;
    const std::string file = folder.path() / "picture.jpg";
    take(file, size, output.name());
    std::ifstream picture(file, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(picture), {}};
    try {
        output.write(bytes.data(), bytes.size());
        output.close();
    } catch (const ClosedPipe&) {
        return;  // a normal end
    }
}

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
    if (!parseOptions(argc, argv, kSnapUsage, options, operands)) return exitOk;
    if (!operands.empty()) throw UsageError("unexpected argument '" + operands.front() + "'");
    checkName(file);
    if (file == "-") {
        takeToStandardOutput(size);
    } else {
        take(file, size, file);
    }
    return exitOk;
}

}  // namespace vncam
