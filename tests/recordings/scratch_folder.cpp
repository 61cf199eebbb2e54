#include "scratch_folder.h"

#include <stdlib.h>

#include <stdexcept>

namespace recordings_test {

ScratchFolder::ScratchFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "recordingsXXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("cannot create a folder like " + pattern);
    folder_ = pattern;
}

ScratchFolder::~ScratchFolder() {
    std::filesystem::remove_all(folder_);
}

}  // namespace recordings_test
