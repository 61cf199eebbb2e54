#ifndef KEP_HOST_RECORDING_H
#define KEP_HOST_RECORDING_H

#include <deque>
#include <memory>
#include <string>

#include "media/recording/media_file.h"
#include "media/recording/muxer.h"
#include "recordings/file_names.h"

namespace kep::host {

using recordings::FileNames;

/** A file that is not made, or only in part. */
struct FileFailure {
    std::string path;
    std::string reason;
    std::string kept;    /**< path of the file that holds the part; empty when there is none */
    bool opened = false; /**< its opening has been told */
};

/** What is told of a recording. After opened() comes exactly one of closed() and failed(). */
class RecordingWitness {
  public:
    virtual void opened(const std::string& path) = 0;
    virtual void closed(const std::string& path) = 0;
    virtual void failed(const FileFailure& failure) = 0;
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
 * One file from the first key frame that it is given. Until all streams are known it keeps what comes, for
 * half a second at most; a stream that appears later has no place in it. Each packet that it is given is in
 * its file or is told as lost.
 */
class Recording final : public Clip {
  public:
    /** When a file is told as opened: at once, or when the disk has taken some of it, where an attempt is
     * likely to fail. */
    enum class Opening { atOnce, onceTaken };

    /** The names and the witness outlive it. */
    Recording(FileNames& names, MediaFileSettings settings, KnownStreams known, RecordingWitness& witness,
              Opening opening = Opening::atOnce)
        : names_(names),
          settings_(std::move(settings)),
          streams_(std::move(known)),
          witness_(witness),
          told_(opening) {}
    ~Recording() override { finish(); }

    /** Whether the packet's stream is one of the file's, as it was when the file was opened. */
    bool hasPlaceFor(const Media& media) const;
    bool write(const SharedPacket& packet) override;
    /** Brings what has come to the disk as far as it can be played. False once it has failed. */
    bool flush();
    bool finish() override;

    bool hasFailed() const { return !reason_.empty(); }
    /** Something of it plays as it lies on the disk. */
    bool isSafe() const { return safe_; }
    /** The streams that it has, once it is open. */
    const KnownStreams& streams() const { return streams_; }
    bool isOpen() const { return file_ != nullptr; }

  private:
    bool keep(const SharedPacket& packet);
    bool isReady() const;
    bool open();
    bool put(const SharedPacket& packet);
    void tellOpened();
    void tellLost(const MediaPacket& packet) { witness_.lost(packet.media->kind, 1); }

    FileNames& names_;
    const MediaFileSettings settings_;
    KnownStreams streams_;
    RecordingWitness& witness_;
    const Opening told_;
    std::deque<SharedPacket> kept_;
    SharedPacket key_; /**< the first key frame that was kept */
    std::string path_; /**< of its file, from the first attempt to open it */
    std::unique_ptr<MediaFile> file_;
    SteadyTime start_;
    bool opened_ = false; /**< that has been told */
    bool finished_ = false;
    bool complete_ = false; /**< all of it is in a file of its final name */
    bool safe_ = false;
    std::string reason_; /**< why it has failed */
};

}  // namespace kep::host

#endif
