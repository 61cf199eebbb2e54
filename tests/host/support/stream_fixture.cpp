#include "stream_fixture.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "wait_until.h"

namespace kep::host {

namespace {
template <class Source>
Owned<Source> newSource(int width, int height, int rate) {
    Owned<Source> source(Source::CreateNew("vornisa"));
    source->SetWidth(width);
    source->SetHeight(height);
    source->SetFrameRate(rate);
    return source;
}
}  // namespace

Owned<IH264Source> newH264(int width, int height, int rate) {
    return newSource<IH264Source>(width, height, rate);
}
Owned<IYuvSource> newYuv(int width, int height, int rate) {
    return newSource<IYuvSource>(width, height, rate);
}

std::vector<Frame> pull(api::streaming::common::IStreamOutput& source, std::size_t count) {
    std::vector<Frame> frames;
    Frame frame;
    while (frames.size() < count && source.PullFrame(frame, true)) frames.push_back(std::move(frame));
    return frames;
}

State stateOf(object_base& source) {
    return dynamic_cast<api::streaming::common::IState&>(source).CurrentState();
}

bool isPlaying(object_base& source) {
    return source.AsType<stream::IStatus>()->StatusIsPlay();
}

Messages::Messages(api::streaming::common::IStreamControl& source) {
    source.RegisterMessageCallback([box = box_](const char* text) {
        box->put(text);
        return true;
    });
}

bool Messages::waitForLost(std::int64_t count) {
    return waitUntil([&] {
        std::int64_t total = 0;
        for (const std::string& text : all()) {
            const std::size_t at = text.find(",total=");
            if (at != text.npos) total = std::max<std::int64_t>(total, std::stol(text.substr(at + 7)));
        }
        return total >= count;
    });
}

Decoder::Decoder() : codec_(avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_H264))) {
    codec_->thread_count = 1;
    codec_->flags |= AV_CODEC_FLAG_LOW_DELAY;
    avcodec_open2(codec_.get(), nullptr, nullptr);
}

const AVFrame* Decoder::decode(const frame_t& unit) {
    av_new_packet(packet_.get(), unit.size);
    std::copy_n(unit.data, unit.size, packet_->data);
    int result = avcodec_send_packet(codec_.get(), packet_.get());
    av_packet_unref(packet_.get());
    if (result >= 0) result = avcodec_receive_frame(codec_.get(), frame_.get());
    EXPECT_GE(result, 0) << ffmpegError(result);
    return result >= 0 ? frame_.get() : nullptr;
}

LumaPlane lumaOf(const AVFrame& frame) {
    return {frame.data[0], frame.linesize[0], frame.width, frame.height};
}

LumaPlane lumaOf(const frame_t& raw, int width, int height) {
    return {raw.data, width, width, height};
}

std::vector<std::int64_t> numbersOf(const std::vector<Frame>& units) {
    std::vector<std::int64_t> numbers;
    Decoder decoder;
    for (const Frame& unit : units) {
        const AVFrame* picture = decoder.decode(*unit);
        const auto number = picture ? readPictureNumber(lumaOf(*picture)) : std::nullopt;
        EXPECT_TRUE(number) << "picture " << numbers.size() << " has no readable number";
        numbers.push_back(number ? static_cast<std::int64_t>(*number) : -1);
    }
    return numbers;
}

std::vector<std::int64_t> numbersOf(const std::vector<Frame>& pictures, int width, int height) {
    std::vector<std::int64_t> numbers;
    for (const Frame& picture : pictures) {
        const auto number = readPictureNumber(lumaOf(*picture, width, height));
        EXPECT_TRUE(number) << "picture " << numbers.size() << " has no readable number";
        numbers.push_back(number ? static_cast<std::int64_t>(*number) : -1);
    }
    return numbers;
}

void expectRunningOn(const std::vector<std::int64_t>& numbers, Messages& messages) {
    ASSERT_FALSE(numbers.empty());
    for (std::size_t i = 1; i < numbers.size(); ++i)
        EXPECT_GT(numbers[i], numbers[i - 1]) << "picture  " << i;
    const auto steps = static_cast<std::int64_t>(numbers.size()) - 1;
    const std::int64_t missing = numbers.back() - numbers.front() - steps;
    EXPECT_TRUE(messages.waitForLost(missing)) << missing << " pictures are missing";
}

std::vector<std::int64_t> indicesOf(const std::vector<Frame>& frames) {
    std::vector<std::int64_t> indices;
    for (const Frame& frame : frames) indices.push_back(frame->index);
    return indices;
}

std::vector<std::size_t> keysOf(const std::vector<Frame>& units) {
    std::vector<std::size_t> keys;
    for (std::size_t i = 0; i < units.size(); ++i) {
        if (units[i]->key) keys.push_back(i);
    }
    return keys;
}

VideoTest::VideoTest() {
    std::string name = (std::filesystem::temp_directory_path() / "vornisa-video-XXXXXX").string();
    folder_ = mkdtemp(name.data());
    choose("test");
}

VideoTest::~VideoTest() {
    std::filesystem::remove_all(folder_);
}

void VideoTest::choose(const std::string& camera) {
    setenv("KEP_HOST_VIDEO", camera.c_str(), 1);
}

void VideoTest::makeFile(const std::string& arguments) const {
    const std::string command =
        "cd '" + folder_.string() + "' && ffmpeg -nostdin -loglevel error -y " + arguments;
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

std::filesystem::path VideoTest::film(const std::string& name, std::size_t frames) {
    const Owned<IH264Source> source = newH264(640, 360, 30);
    EXPECT_TRUE(source->ChangeUp(State::play));
    std::ofstream file(path(name), std::ios::binary);
    for (const Frame& frame : pull(*source, frames)) {
        file.write(reinterpret_cast<const char*>(frame->data), frame->size);
    }
    return path(name);
}

}  // namespace kep::host
