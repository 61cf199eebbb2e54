#ifndef KEP_HOST_FILE_OUTPUT_H
#define KEP_HOST_FILE_OUTPUT_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "media/common/ffmpeg.h"
#include "media/files/file_layer.h"

namespace kep::host {

/**
 * Takes what libavformat writes and hands it to the file layer in whole pieces, when it is told to. What is
 * behind the last piece is kept in memory and may still be written over.
 */
class FileOutput {
  public:
    /** `spill` is how much is kept before it is written without being asked; 0 for no limit. */
    static std::unique_ptr<FileOutput> create(const std::string& path, std::size_t spill,
                                              std::string& reason);
    ~FileOutput();
    FileOutput(const FileOutput&) = delete;
    FileOutput& operator=(const FileOutput&) = delete;

    AVIOContext* context() { return context_; }

    /** Writes what is kept. */
    bool write(std::string& reason);
    /**
     * Writes what is kept, one fragment, so that a reader finds all of it or nothing: it is a box to be
     * passed over until all is there, and each of the two steps is on the disk before the next with `sync`.
     */
    bool writeFragment(bool sync, std::string& reason);
    /** Takes away what a failed write has left behind what was written before. */
    bool dropRest();
    bool sync(std::string& reason);
    bool close(std::string& reason);

    /** How much has been handed to the file layer. */
    std::uint64_t written() const { return written_; }
    /** A write has failed, whoever asked for it. */
    bool failed() const { return failed_; }
    /** Why; empty when none has. */
    const std::string& reason() const { return reason_; }

  private:
    FileOutput(std::unique_ptr<FileLayer::File> file, std::size_t spill);

    static int onWrite(void* self, std::uint8_t* bytes, int size);
    static std::int64_t onSeek(void* self, std::int64_t offset, int whence);
    bool put(const std::uint8_t* bytes, std::size_t size);
    bool writeKept();
    bool noted(bool done, std::string& reason);

    const std::unique_ptr<FileLayer::File> file_;
    const std::size_t spill_;
    AVIOContext* context_ = nullptr;
    std::vector<std::uint8_t> kept_; /**< what comes after `written_` */
    std::uint64_t written_ = 0;
    std::uint64_t position_ = 0;
    bool failed_ = false;
    std::string reason_;
};

}  // namespace kep::host

#endif
