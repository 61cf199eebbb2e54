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

/** Reports recordings by messages and log lines of their muxer. After opened() comes exactly one of closed()
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
    std::atomic<bool> inTrouble{false};  /**< the last attempt failed: further failures write no line */

  private:
    Element& muxer_;
    const ClipWriter::OnFailed failed_;
};

/** The streams known before a recording begins. */
struct KnownStreams {
    MediaPtr video;
    MediaPtr audio;
    bool complete = false; /**< no other streams to wait for */
};

/**
 * One file, beginning at the first key frame. Buffers packets until all streams are known, for at most half
 * a second; a stream that appears later is not recorded in this file. Each packet is either written or
 * reported as lost.
 */
class Recording final : public Clip {
  public:
    /** `names` and `teller` must outlive it. The file is reported as opened at once; after failures, when the
     * next attempt is likely to fail as well, only after the disk has accepted some of it. */
    Recording(FileNames& names, MediaFileSettings settings, KnownStreams known, RecordingTeller& teller)
        : names_(names),
          settings_(std::move(settings)),
          streams_(std::move(known)),
          teller_(teller),
          tellsSoon_(!teller.inTrouble) {}
    ~Recording() override { finish(); }

    /** Whether the open file has this stream with the same format. Always true before the file is open. */
    bool hasPlaceFor(const Media& media) const;
    bool write(const SharedPacket& packet) override;
    /** Writes buffered packets to the disk, as MediaFile::flush(). False once the recording has failed. */
    bool flush();
    bool finish() override;

    bool hasFailed() const { return !reason_.empty(); }
    /** Whether the part on the disk can be played. */
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
    SharedPacket key_; /**< the first key frame in kept_ */
    std::string path_; /**< of its file; set by the first attempt to open it */
    std::unique_ptr<MediaFile> file_;
    SteadyTime start_;
    bool opened_ = false; /**< opened() has been reported */
    bool finished_ = false;
    bool complete_ = false; /**< whole, and under its final name */
    bool safe_ = false;
    std::string reason_; /**< of the failure; empty without one */
};

}  // namespace kep::host

#endif
