#ifndef KEP_HOST_RECORDING_H
#define KEP_HOST_RECORDING_H

#include <atomic>
#include <deque>
#include <memory>
#include <string>

#include "media/recording/media_file.h"
#include "media/recording/muxer.h"
#include "recordings/file_names.h"

namespace kep::host {

using recordings::FileNames;

/** Tells of recordings in the messages and lines of their muxer. After opened() comes exactly one of closed()
 * and failed(). */
class RecordingTeller {
  public:
    RecordingTeller(Element& muxer, ClipWriter::OnFailed failed)
        : muxer_(muxer), failed_(std::move(failed)) {}

    void opened(const std::string& path);
    void closed(const std::string& path);
    void failed(const FileFailure& failure, bool wasOpened);
    void lost(const PacketCounts& packets) { muxer_.tellLost(packets); }
    void lost(const MediaPacket& packet) { muxer_.tellLost(packet.media->kind, 1); }

    std::atomic<bool> sendsStart{false}; /**< whether opened() sends `recordStart` ... */
    std::atomic<bool> sendsStop{false};  /**< ... and closed() `recordStop` */
    std::atomic<bool> inTrouble{false};  /**< the last attempts have failed: one line tells of all */

  private:
    Element& muxer_;
    const ClipWriter::OnFailed failed_;
};

/** The streams that are known of before a recording begins. */
struct KnownStreams {
    MediaPtr video;
    MediaPtr audio;
    bool complete = false; /**< there are no others to wait for */
};

/**
 * One file from the first key frame that it is given. Until all streams are known it buffers packets, for
 * half a second at most; a stream that appears later has no place in it. Each packet that it is given is in
 * its file or is reported as lost.
 */
class Recording final : public Clip {
  public:
    /** The names and the teller outlive it. A file is told as opened at once, or after failures, when the
     * next attempt is likely to fail as well, once the disk has taken some of it. */
    Recording(FileNames& names, MediaFileSettings settings, KnownStreams known, RecordingTeller& teller)
        : names_(names),
          settings_(std::move(settings)),
          streams_(std::move(known)),
          teller_(teller),
          tellsSoon_(!teller.inTrouble) {}
    ~Recording() override { finish(); }

    /** Whether the packet's stream is one of the file's, as it was when the file was opened. */
    bool hasPlaceFor(const Media& media) const;
    bool write(const SharedPacket& packet) override;
    /** Writes what can be played to the disk. False once it has failed. */
    bool flush();
    bool finish() override;

    bool hasFailed() const { return !reason_.empty(); }
    /** Something of it plays as it lies on the disk. */
    bool isSafe() const { return safe_; }
    bool isOpen() const { return file_ != nullptr; }

  private:
    bool keep(const SharedPacket& packet);
    bool isReady() const;
    bool open();
    bool put(const SharedPacket& packet);
    void tellOpened();

    FileNames& names_;
    const MediaFileSettings settings_;
    KnownStreams streams_;
    RecordingTeller& teller_;
    const bool tellsSoon_;
    std::deque<SharedPacket> kept_;
    SharedPacket key_; /**< the first key frame that was kept */
    std::string path_; /**< of its file, from the first attempt to open it */
    std::unique_ptr<MediaFile> file_;
    SteadyTime start_;
    bool opened_ = false; /**< that has been reported */
    bool finished_ = false;
    bool complete_ = false; /**< all of it is in a file of its final name */
    bool safe_ = false;
    std::string reason_; /**< why it has failed */
};

}  // namespace kep::host

#endif
