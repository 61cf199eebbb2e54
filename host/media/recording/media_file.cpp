#include "media/recording/media_file.h"

#include <algorithm>
#include <array>

#include "recordings/wall_time.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace kep::host {
namespace {

using std::chrono::milliseconds;

/**
 * From this age on a fragment ends at a key frame: half a second less the jitter of capture times. At
 * kLongestFragment it ends anywhere. So a power cut loses less than a second: this fragment, and the packets
 * behind it that wait for audio, are buffered or being encoded. Shorter fragments cost more syncs.
 */
constexpr milliseconds kFragment(450);
constexpr milliseconds kLongestFragment(500);
/** A plain MP4 is written in pieces of this many bytes. */
constexpr std::size_t kPiece = 256 << 10;
/** Audio packets that wait for the first picture; beyond this the oldest are dropped. */
constexpr std::size_t kMostEarly = 512;

/** A capture time as MP4 metadata: UTC in ISO 8601. */
std::string wallClockText(SteadyTime stamp) {
    const std::time_t time = recordings::wallTime(stamp);
    std::tm utc{};
    gmtime_r(&time, &utc);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text.data();
}

}  // namespace

std::unique_ptr<MediaFile> MediaFile::open(const std::string& path, const MediaFileSettings& settings,
                                           const MediaPtr& video, const MediaPtr& audio,
                                           std::string& reason) {
    initFfmpeg();
    if (!video && !audio) {
        reason = path + ": neither video nor audio to record";
        return nullptr;
    }
    std::string openPath = settings.openExtension.empty() ? path : path + "." + settings.openExtension;
    auto output = FileOutput::create(openPath, settings.container == Container::mp4 ? kPiece : 0, reason);
    if (!output) return nullptr;
    return std::unique_ptr<MediaFile>(
        new MediaFile(path, settings, std::move(openPath), std::move(output), video, audio));
}

MediaFile::MediaFile(const std::string& path, const MediaFileSettings& settings, std::string openPath,
                     std::unique_ptr<FileOutput> output, const MediaPtr& video, const MediaPtr& audio)
    : path_(path),
      openPath_(std::move(openPath)),
      container_(settings.container),
      flush_(settings.flush),
      output_(std::move(output)) {
    if (video) video_.track.emplace(video);
    if (audio) audio_.track.emplace(audio);
}

MediaFile::~MediaFile() = default;

bool MediaFile::write(const MediaPacket& packet, std::string& reason) {
    ++streamOf(packet).given;
    reason = reason_;
    if (!reason_.empty()) return false;
    if (!streamOf(packet).track) return true;
    const bool leads = packet.isVideo() == video_.track.has_value();
    if (context_) return noted(add(packet, leads && packet.key, reason), reason);
    if (leads) return !packet.key || noted(begin(packet, reason), reason);
    if (early_.size() == kMostEarly) early_.pop_front();
    early_.push_back(packet);
    return true;
}

/** Records a failure, which ends the file. */
bool MediaFile::noted(bool done, std::string& reason) {
    if (done) return true;
    // libavformat reports only an I/O error; the file layer knows its cause.
    if (output_->failed()) reason = output_->reason();
    if (reason.rfind(openPath_, 0) != 0) reason = openPath_ + ": " + reason;
    reason_ = reason;
    return false;
}

bool MediaFile::begin(const MediaPacket& first, std::string& reason) {
    zero_ = fragment_ = early_.empty() ? first.stamp : std::min(first.stamp, early_.front().stamp);
    const char* const format = container_ == Container::mpegTs ? "mpegts" : "mp4";
    AVFormatContext* made = nullptr;
    if (avformat_alloc_output_context2(&made, nullptr, format, nullptr) < 0) {
        reason = std::string("the FFmpeg libraries have no muxer for ") + format;
        return false;
    }
    context_.reset(made);
    context_->pb = output_->context();
    av_dict_set(&context_->metadata, "creation_time", wallClockText(first.stamp).c_str(), 0);
    context_->flags |= AVFMT_FLAG_CUSTOM_IO;
    for (Stream* const stream : streams()) {
        const bool leads = stream == &video_ || !video_.track;
        if (stream->track && !stream->track->addTo(*context_, leads ? &first : nullptr, reason)) return false;
    }
    if (!writeHeader(reason)) return false;
    for (const MediaPacket& early : early_) {
        if (!add(early, false, reason)) return false;
    }
    early_.clear();
    return add(first, true, reason);
}

bool MediaFile::writeHeader(std::string& reason) {
    AVDictionary* options = nullptr;
    av_dict_set(&options, "avoid_negative_ts", "disabled", 0);
    switch (container_) {
        case Container::fragmentedMp4:
            // The fragments' decode times give the position; no edit list is needed.
            av_dict_set(&options, "movflags", "frag_custom+frag_discont+empty_moov+default_base_moof", 0);
            av_dict_set(&options, "use_editlist", "0", 0);
            break;
        case Container::mp4:
            // The unit of the edit list.
            av_dict_set(&options, "movie_timescale", "90000", 0);
            break;
        case Container::mpegTs:
            context_->max_delay = 700'000;
            // One PES packet, and so one time stamp, for each audio packet.
            av_dict_set(&options, "pes_payload_size", "0", 0);
            break;
    }
    const int result = avformat_write_header(context_.get(), &options);
    av_dict_free(&options);
    if (!succeeded(result, reason)) return false;
    if (!isFragmented()) return true;
    // Until the header is on the disk, the file's blocks may show deleted data.
    return output_->writeHeader(flush_, reason) && (!flush_ || output_->file().sync(reason));
}

bool MediaFile::add(const MediaPacket& packet, bool key, std::string& reason) {
    // From before the beginning of the file.
    if (packet.stamp < zero_) return true;
    Track& track = *streamOf(packet).track;
    const auto age = packet.stamp - fragment_;
    const bool ends = age >= (key ? kFragment : kLongestFragment);
    // Passes on the predecessor, which belongs to the fragment that ends here.
    if (!track.take(packet, zero_, reason)) return false;
    if (!ends) return true;
    std::optional<Track>& other = (packet.isVideo() ? audio_ : video_).track;
    if (other && !other->flushBefore(packet.stamp, reason)) return false;
    fragment_ = packet.stamp;
    return endFragment(false, reason);
}

bool MediaFile::endFragment(bool isLast, std::string& reason) {
    FileLayer& layer = FileLayer::current();
    if (!layer.exists(openPath_)) {
        reason = "the file has been removed";
        gone_ = true;
        return false;
    }
    if (container_ == Container::mp4) return true;
    if (av_write_frame(context_.get(), nullptr) < 0) {
        reason = output_->reason();
        return false;
    }
    // Re-arm frag_discont: a fragment's time must not be the sum of the durations before it.
    if (isFragmented()) av_opt_set(context_->priv_data, "movflags", "+frag_discont", 0);
    // The last one is synced together with the trailer.
    if (!noteOnDisk((isFragmented() ? output_->writeFragment(flush_, reason) : output_->write(reason)) &&
                    (!flush_ || isLast || output_->file().sync(reason))))
        return false;
    if (isLast || named_) return true;
    named_ = !flush_ || layer.syncFolder(FileLayer::folderOf(openPath_), reason);
    return named_;
}

/** After a successful write: all packets passed to libavformat are in the file. */
bool MediaFile::noteOnDisk(bool written) {
    if (!written) {
        unsynced_ = unsynced_ || !output_->failed();
        return false;
    }
    safe_ = true;
    complete_ = output_->written();
    for (Stream* const stream : streams()) {
        if (stream->track) stream->kept = stream->track->handed();
    }
    return true;
}

bool MediaFile::flush(std::string& reason) {
    reason = reason_;
    if (!reason_.empty()) return false;
    if (!context_) return true;
    if (container_ == Container::mp4) return noted(output_->write(reason), reason);
    // The first fragment must contain a picture: recovery needs one.
    if (video_.track && video_.track->handed() == 0) return true;
    bool gathered = false;
    SteadyTime next = SteadyTime::max();
    for (const Stream* const stream : streams()) {
        if (!stream->track) continue;
        gathered = gathered || stream->track->handed() > stream->kept;
        next = std::min(next, stream->track->waitingSince().value_or(SteadyTime::max()));
    }
    if (!gathered) return true;
    if (next != SteadyTime::max()) fragment_ = next;
    return noted(endFragment(false, reason), reason);
}

bool MediaFile::complete(std::string& reason) {
    if (!context_) {
        reason = "no packets to write";
        return false;
    }
    for (Stream* const stream : streams()) {
        if (stream->track && !stream->track->flush(reason)) return false;
    }
    if (!endFragment(true, reason)) return false;
    const std::uint64_t end = output_->written();
    if (!succeeded(av_write_trailer(context_.get()), reason)) return false;
    const bool isWhole =
        noteOnDisk(isFragmented() ? output_->writeBox(flush_, reason) : output_->write(reason));
    return isWhole && (!isFragmented() || noteOnDisk(output_->completeHeader(end, flush_, reason)));
}

bool MediaFile::finish(std::string& reason) {
    const bool whole = reason_.empty() && noted(complete(reason), reason);
    context_.reset();
    std::string trouble;
    // Packets reported as lost must not be in the file. Readers skip a truncated free box, but not a
    // truncated packet of a transport stream.
    const std::uint64_t good = container_ == Container::mp4 ? output_->written() : complete_;
    const bool clean = whole || output_->file().truncate(good, trouble) || isFragmented();
    auto committed = FileLayer::Committed::no;
    FileLayer& layer = FileLayer::current();
    if (safe_ && !gone_ && !unsynced_ && clean)
        committed = layer.commit(output_->file(), openPath_, path_, FileLayer::Taken::refuse, trouble);
    output_->close();
    reason = reason_.empty() ? trouble : reason_;
    if (committed == FileLayer::Committed::no) {
        gone_ = gone_ || !layer.exists(openPath_);
        if (safe_ && !gone_) return false;
        location_.clear();
        for (Stream* const stream : streams()) stream->kept = 0;
        // Keep pictures without an index: some of them might be recovered.
        if (!gone_ && (container_ != Container::mp4 || output_->written() == 0))
            layer.remove(openPath_, trouble);
        return false;
    }
    location_ = path_;
    return true;
}

}  // namespace kep::host
