#ifndef KEP_HOST_RECORDING_H
#define KEP_HOST_RECORDING_H

#include <deque>
#include <memory>
#include <string>

#include "media/recording/file_names.h"
#include "media/recording/media_file.h"
#include "media/recording/muxer.h"

namespace kep::host {

/** What is told of a recording. */
class RecordingWitness {
  public:
    virtual void opened(const std::string& path) = 0;
    virtual void closed(const std::string& path) = 0;
    virtual void failed(const std::string& path, const std::string& reason) = 0;
    virtual void lost(Media::Kind kind, std::size_t packets) = 0;

  protected:
    ~RecordingWitness() = default;
};

/** The streams that are known of before a recording begins. */
struct KnownStreams {
    MediaPtr video;
    MediaPtr audio;
    bool complete = false; /**< there are no others to wait for */
};

/**
 * One file from the first key frame that it is given. Until all streams are known it keeps what comes, for a
 * second at most; a stream that appears later has no place in it.
 */
class Recording final : public Clip {
  public:
    /** The names and the witness outlive it. */
    Recording(FileNames& names, MediaFileSettings settings, KnownStreams known, RecordingWitness& witness)
        : names_(names), settings_(std::move(settings)), streams_(std::move(known)), witness_(witness) {}
    ~Recording() override { finish(); }

    /** Whether the packet's stream is one of the file's, as it was when the file was opened. */
    bool hasPlaceFor(const Media& media) const;
    bool write(const SharedPacket& packet) override;
    bool finish() override;

    bool hasFailed() const { return failed_; }
    /** Something of it plays as it lies on the disk. */
    bool isSafe() const { return safe_; }
    /** The streams that it has, once it is open. */
    const KnownStreams& streams() const { return streams_; }
    bool isOpen() const { return file_ != nullptr; }

  private:
    bool keep(const SharedPacket& packet);
    bool isReady() const;
    bool open();
    bool put(const MediaPacket& packet);
    void fail(const std::string& path, const std::string& reason);

    FileNames& names_;
    const MediaFileSettings settings_;
    KnownStreams streams_;
    RecordingWitness& witness_;
    std::deque<SharedPacket> kept_;
    SharedPacket key_; /**< the first key frame that was kept */
    std::unique_ptr<MediaFile> file_;
    SteadyTime start_;
    bool finished_ = false;
    bool closed_ = false; /**< it has left a file */
    bool failed_ = false;
    bool safe_ = false;
};

}  // namespace kep::host

#endif
