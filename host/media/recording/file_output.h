#ifndef KEP_HOST_FILE_OUTPUT_H
#define KEP_HOST_FILE_OUTPUT_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/common/ffmpeg.h"
#include "recordings/head_index.h"

namespace kep::host {

using recordings::FileLayer;
using recordings::HeadIndex;

/**
 * Buffers what libavformat writes and passes it to the file layer in whole pieces, on request. What follows
 * the last piece is in memory and can still be overwritten.
 */
class FileOutput {
  public:
    /** `spill` is how many bytes are buffered before they are written without a request; 0 for no limit. */
    static std::unique_ptr<FileOutput> create(const std::string& path, std::size_t spill,
                                              std::string& reason);
    ~FileOutput();
    FileOutput(const FileOutput&) = delete;
    FileOutput& operator=(const FileOutput&) = delete;

    AVIOContext* context() { return context_; }

    /** Writes what is buffered. */
    bool write(std::string& reason);
    /** Writes what is buffered, the header of a fragmented file, and the places for what it will tell of the
     * whole file; one of the fragments will hold a copy. With `sync` the header is on the disk before them.
     */
    bool writeHeader(bool sync, std::string& reason);
    /** Writes what is buffered, one fragment, as writeBox() does. */
    bool writeFragment(bool sync, std::string& reason);
    /**
     * Writes what is buffered, one box with all that it needs, so that a reader finds all of it or nothing:
     * it is a free box until its header is overwritten. With `sync` the free box is on the disk before that;
     * the new header is left to be synced.
     */
    bool writeBox(bool sync, std::string& reason);
    /** Has the header of a fragmented file, whose fragments end at `end`, tell its length and where its parts
     * begin. */
    bool completeHeader(std::uint64_t end, bool sync, std::string& reason);
    /** What has been written: to be synced, truncated and committed. */
    FileLayer::File& file() { return *file_; }
    /** Closes the file under the name that it has; once it is closed, nothing else may be asked of it. */
    void close() { file_.reset(); }

    /** Bytes passed to the file layer. */
    std::uint64_t written() const { return written_; }
    /** Whether a write has failed, also one that libavformat asked for. */
    bool failed() const { return failed_; }
    /** Why it has failed; empty otherwise. */
    const std::string& reason() const { return reason_; }

  private:
    FileOutput(std::unique_ptr<FileLayer::File> file, std::size_t spill);

    static int onWrite(void* self, std::uint8_t* bytes, int size);
    static std::int64_t onSeek(void* self, std::int64_t offset, int whence);
    bool put(const std::uint8_t* bytes, std::size_t size);
    /**
     * Pads what is buffered so that the header of the next box is safe. Either all or none of that must reach
     * the disk, so it must not cross a sector's end. Nor must it begin a sector: one that has never been
     * written may hold deleted data.
     */
    void pad();
    bool writeKept();
    bool addLengthPlace();
    /** Notes the fragment that is buffered. */
    void index();
    void addMark();
    void addHeaderCopy();
    bool noted(bool done, std::string& reason);

    std::unique_ptr<FileLayer::File> file_;
    const std::size_t spill_;
    AVIOContext* context_ = nullptr;
    std::vector<std::uint8_t> kept_;   /**< what comes after `written_` */
    std::vector<std::uint8_t> header_; /**< to be copied into a fragment */
    std::optional<HeadIndex> index_;   /**< of a fragmented file */
    std::uint64_t mark_ =
        0; /**< of this file, behind its header and each fragment: deleted ones had others */
    std::uint64_t written_ = 0;
    std::uint64_t position_ = 0;
    bool failed_ = false;
    std::string reason_;
};

}  // namespace kep::host

#endif
