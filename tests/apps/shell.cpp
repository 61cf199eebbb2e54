#include "shell.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace vncam_test {

namespace fs = std::filesystem;

std::string readFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

void writeFile(const fs::path& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary);
    file << content;
    ASSERT_TRUE(file.flush()) << path;
}

Shell::Shell() {
    std::string name = (fs::temp_directory_path() / "vncam-test-XXXXXX").string();
    if (!mkdtemp(name.data())) throw std::runtime_error("cannot create the temporary folder " + name);
    folder_ = name;
}

Shell::~Shell() {
    fs::remove_all(folder_);
}

Result Shell::run(const std::string& command) const {
    const fs::path text = path(".command");
    writeFile(text, "set -o pipefail\nPATH=" VNCAM_FOLDER ":$PATH\n" + command + "\n");
    const std::string whole =
        "cd '" + folder_.string() + "' && timeout -s KILL 120 bash .command >.out 2>.err";
    const int status = std::system(whole.c_str());
    const int exit = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return {exit, readFile(path(".out")), readFile(path(".err"))};
}

std::string Shell::probe(const std::string& file, const std::string& entries) const {
    const std::string value =
        run("ffprobe -v error -count_packets -show_entries " + entries + " -of default=nk=1:nw=1 " + file)
            .out;
    return value.substr(0, value.find('\n'));
}

std::string Shell::decodeErrors(const std::string& file) const {
    const Result result =
        run("ffmpeg -nostdin -v error -xerror -err_detect explode -i " + file + " -f null -");
    return (result.exit == 0 ? "" : "exit " + std::to_string(result.exit) + ": ") + result.err;
}

std::string Shell::pictureRuns(const std::string& file) const {
    return run("ffprobe -v error -select_streams v:0 -show_entries frame=width,height -of csv=p=0:s=x " +
               file +
               " | sed -n 's/x*$//; /./p' | uniq -c | awk '{printf \"%s%s of %s\", (NR > 1 ? \", \" : \"\"), "
               "$1, $2}'")
        .out;
}

}  // namespace vncam_test
