#ifndef KEP_HOST_BYTE_FILE_H
#define KEP_HOST_BYTE_FILE_H

#include <memory>
#include <string>

#include "media/common/ffmpeg.h"

namespace kep::host {

/** A file or named pipe for libavformat to read, whose waiting for data can be ended from another thread. */
class ByteFile {
  public:
    /** Null, with the cause in `reason`, when it cannot be opened. A pipe is opened whether or not it has a
     * writer. */
    static std::unique_ptr<ByteFile> open(const std::string& path, std::string& reason);
    ~ByteFile();

    AVIOContext* io() { return io_; }
    bool seekable() const { return seekable_; }
    /** How long one read may wait, -1 without a limit as at first; the one that waited longer fails, and all
     * after it. */
    void limitWait(int milliseconds) { waitLimit_ = milliseconds; }
    bool timedOut() const { return timedOut_; }
    /** Makes the read under way and every later one fail. Safe on any thread. */
    void interrupt();

  private:
    ByteFile(int file, int wake, bool seekable);
    int read(unsigned char* buffer, int size);
    std::int64_t seek(std::int64_t offset, int whence);

    const int file_;
    const int wake_;  // an event counter that becomes readable on interrupt()
    const bool seekable_;
    int waitLimit_ = -1;
    bool timedOut_ = false;
    AVIOContext* io_;
};

}  // namespace kep::host

#endif
