#include "media/recording/file_output.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <new>
#include <random>

extern "C" {
#include <libavutil/intreadwrite.h>
}

namespace kep::host {
namespace {

constexpr int kBufferBytes = 32 << 10;
constexpr std::size_t kBoxHeader = 8;
/** The smallest piece that every disk writes whole. */
constexpr std::uint64_t kSector = 512;

using BoxHeader = std::array<std::uint8_t, kBoxHeader>;

BoxHeader freeBox(std::size_t size) {
    BoxHeader header = {0, 0, 0, 0, 'f', 'r', 'e', 'e'};
    AV_WB32(header.data(), size);
    return header;
}

}  // namespace

FileOutput::FileOutput(std::unique_ptr<FileLayer::File> file, std::size_t spill)
    : file_(std::move(file)), spill_(spill) {
    std::random_device random;
    mark_ = std::uint64_t{random()} << 32 | random();
    auto* const buffer = static_cast<std::uint8_t*>(av_malloc(kBufferBytes));
    context_ = avio_alloc_context(buffer, kBufferBytes, 1, this, nullptr, &onWrite, &onSeek);
    if (!buffer || !context_) throw std::bad_alloc();
}

FileOutput::~FileOutput() {
    av_freep(&context_->buffer);
    avio_context_free(&context_);
}

std::unique_ptr<FileOutput> FileOutput::create(const std::string& path, std::size_t spill,
                                               std::string& reason) {
    auto file = FileLayer::current().create(path, reason);
    if (!file) return nullptr;
    return std::unique_ptr<FileOutput>(new FileOutput(std::move(file), spill));
}

int FileOutput::onWrite(void* self, std::uint8_t* bytes, int size) {
    auto& output = *static_cast<FileOutput*>(self);
    return output.put(bytes, static_cast<std::size_t>(size)) ? size : AVERROR(EIO);
}

std::int64_t FileOutput::onSeek(void* self, std::int64_t offset, int whence) {
    auto& output = *static_cast<FileOutput*>(self);
    const auto end = static_cast<std::int64_t>(output.written_ + output.kept_.size());
    switch (whence) {
        case AVSEEK_SIZE:
            return end;
        case SEEK_CUR:
            offset += static_cast<std::int64_t>(output.position_);
            break;
        case SEEK_END:
            offset += end;
            break;
        default:
            break;
    }
    if (offset < 0 || offset > end) return AVERROR(EINVAL);
    output.position_ = static_cast<std::uint64_t>(offset);
    return offset;
}

bool FileOutput::put(const std::uint8_t* bytes, std::size_t size) {
    if (failed_) return false;
    if (position_ < written_) {
        const auto past = static_cast<std::size_t>(std::min<std::uint64_t>(size, written_ - position_));
        if (!noted(file_->write(position_, bytes, past, reason_), reason_)) return false;
        bytes += past;
        size -= past;
        position_ += past;
    }
    const auto at = static_cast<std::size_t>(position_ - written_);
    if (size > 0 && kept_.size() < at + size) kept_.resize(at + size);
    if (size > 0) std::memcpy(kept_.data() + at, bytes, size);
    position_ += size;
    return !spill_ || kept_.size() < spill_ || writeKept();
}

bool FileOutput::writeKept() {
    if (kept_.empty()) return true;
    if (!noted(file_->write(written_, kept_.data(), kept_.size(), reason_), reason_)) return false;
    written_ += kept_.size();
    kept_.clear();
    return true;
}

bool FileOutput::write(std::string& reason) {
    avio_flush(context_);
    return noted(!failed_ && writeKept(), reason);
}

void FileOutput::pad() {
    avio_flush(context_);
    const std::uint64_t end = (written_ + kept_.size()) % kSector;
    if (end != 0 && end <= kSector - kBoxHeader) return;
    avio_write(context_, freeBox(kBoxHeader).data(), kBoxHeader);
    avio_flush(context_);
}

bool FileOutput::writeHeader(bool sync, std::string& reason) {
    if (!addLengthPlace()) return noted(false, reason);
    addMark();
    header_ = kept_;
    pad();
    recordings::Bytes head = kept_;
    // The mark must be on the disk first: until then the room behind it may show fragments of a deleted file.
    if (!write(reason) || (sync && !file_->sync(reason))) return false;
    const recordings::Bytes place = HeadIndex::referencePlace();
    head.insert(head.end(), place.begin(), place.end());
    index_.emplace(head);
    avio_write(context_, place.data(), static_cast<int>(place.size()));
    return write(reason);
}

bool FileOutput::addLengthPlace() {
    // Written behind the header, so that libavformat includes it in its offsets, and then moved.
    const recordings::Bytes place = HeadIndex::lengthPlace();
    avio_write(context_, place.data(), static_cast<int>(place.size()));
    avio_flush(context_);
    if (failed_ || HeadIndex::moveLengthPlace(kept_)) return !failed_;
    reason_ = "the header has no room for the length of the file";
    return false;
}

void FileOutput::index() {
    avio_flush(context_);
    const auto box = recordings::readBoxHeader(kept_, kept_.size());
    if (!index_ || !index_->tracks() || !box || box->kind != "moof") return;
    const auto contents = recordings::ByteSpan(kept_).subspan(box->contents, box->end - box->contents);
    recordings::Mp4Fragment fragment;
    if (recordings::readFragment(contents, written_, written_ + kept_.size(), *index_->tracks(), fragment))
        index_->add(written_, fragment);
}

bool FileOutput::completeHeader(std::uint64_t end, bool sync, std::string& reason) {
    bool isSynced = true;
    const auto syncFile = [&](std::string& why) { return isSynced = !sync || file_->sync(why); };
    if (!index_ || index_->write(*file_, end, syncFile, reason)) return true;
    failed_ = isSynced;
    reason_ = reason;
    return false;
}

void FileOutput::addMark() {
    avio_flush(context_);
    if (kept_.empty()) return;
    avio_write(context_, freeBox(kBoxHeader + static_cast<std::size_t>(sizeof mark_)).data(), kBoxHeader);
    avio_wb64(context_, mark_);
    avio_flush(context_);
}

void FileOutput::addHeaderCopy() {
    // The room for the index separates header and copy, so that one hole in the file does not hit both.
    if (header_.empty() || kept_.empty()) return;
    avio_write(context_, freeBox(kBoxHeader + header_.size()).data(), kBoxHeader);
    avio_write(context_, header_.data(), static_cast<int>(header_.size()));
    avio_flush(context_);
    header_.clear();
}

bool FileOutput::writeFragment(bool sync, std::string& reason) {
    index();
    addMark();
    addHeaderCopy();
    pad();
    return writeBox(sync, reason);
}

bool FileOutput::writeBox(bool sync, std::string& reason) {
    avio_flush(context_);
    if (failed_) return noted(false, reason);
    if (kept_.size() < kBoxHeader) return write(reason);
    const std::uint64_t start = written_;
    BoxHeader header;
    std::copy_n(kept_.begin(), kBoxHeader, header.begin());
    const BoxHeader passedOver = freeBox(kept_.size());
    std::copy(passedOver.begin(), passedOver.end(), kept_.begin());
    return noted(writeKept(), reason) && (!sync || file_->sync(reason)) &&
           noted(file_->write(start, header.data(), header.size(), reason_), reason);
}

bool FileOutput::noted(bool done, std::string& reason) {
    if (done) return true;
    failed_ = true;
    reason = reason_;
    return false;
}

}  // namespace kep::host
