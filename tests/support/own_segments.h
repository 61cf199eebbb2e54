#ifndef VORNISA_TESTS_OWN_SEGMENTS_H
#define VORNISA_TESTS_OWN_SEGMENTS_H

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

/** Gives this process and its children shared memory segments of their own, so that tests do not affect each
 * other. The destructor removes the segments. */
class OwnSegments {
  public:
    OwnSegments() {
        if (const char* const former = std::getenv(kVariable)) former_ = former;
        setenv(kVariable, prefix_.c_str(), 1);
    }
    ~OwnSegments() {
        setenv(kVariable, former_.c_str(), 1);
        std::error_code error;  // another process may remove its own at the same time
        for (const auto& file : std::filesystem::directory_iterator("/dev/shm", error))
            if (file.path().filename().string().starts_with(prefix_))
                std::filesystem::remove(file.path(), error);
    }
    OwnSegments(const OwnSegments&) = delete;
    OwnSegments& operator=(const OwnSegments&) = delete;

    /** The name of a segment for shm_open. */
    std::string path(const std::string& segment) const { return "/" + prefix_ + segment; }

  private:
    static constexpr char kVariable[] = "KEP_HOST_SHM";

    const std::string prefix_ = "test" + std::to_string(getpid()) + "_";
    std::string former_;
};

#endif
