#ifndef VORNISA_IMAGE_FIXTURE_H
#define VORNISA_IMAGE_FIXTURE_H

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "error_lines.h"
#include "own_segments.h"
#include "stream_fixture.h"
#include "vornisa_api.h"

namespace kep::host {

/** A camera that repeats one picture, and shared memory segments private to the test. */
class ImageTest : public VideoTest {
  protected:
    static constexpr int kWidth = 640;
    static constexpr int kHeight = 360;
    /** Bytes of the luma plane. */
    static constexpr std::size_t kLuma = std::size_t{kWidth} * kHeight;

    void SetUp() override {
        makeFile("-f lavfi -i testsrc2=s=640x360 -frames:v 1 -pix_fmt yuv420p still.png");
        choose("file:" + path("still.png").string());
    }

    std::string segment(const std::string& name) const { return segments_.path(name); }
    void remove(const std::string& name) const { shm_unlink(segment(name).c_str()); }
    /** Makes a segment of `bytes` zeros, as another program would. */
    void make(const std::string& name, off_t bytes) const {
        const int file = shm_open(segment(name).c_str(), O_RDWR | O_CREAT, 0600);
        ASSERT_GE(file, 0);
        ASSERT_EQ(ftruncate(file, bytes), 0);
        close(file);
    }

    /** The bytes of a picture captured after the call; empty if the stream ends. */
    static std::string next(IYuvSource& source) {
        const auto begin = Clock::now();
        for (Frame frame; source.PullFrame(frame, true);)
            if (frame->stamp >= begin)
                return {reinterpret_cast<const char*>(frame->data), std::size_t(frame->size)};
        return "";
    }

  private:
    const OwnSegments segments_;
};

}  // namespace kep::host

#endif
