#include <cstdint>
#include <cstring>
#include <memory>
#include <random>

#include "fifo_calls.h"
#include "fixture.h"
#include "kep/fifo_buffer.h"
#include "never_acquired.h"

namespace unit {
namespace {

using common::frame_t;
using kep::base::FifoBuffer;
using Output = Stream<OutputPart>;
using Bytes = std::vector<unsigned char>;

constexpr int kCapacity = 131072;

const std::string pull = "IStreamOutput::PullFrame(no frame,true)";
const std::string canPull = "IStreamOutput::IsSupportedPullFrame()";

std::string refused(const std::string& text) {
    return line(8, red, "api/vornisa_pcmsrc.cpp", "VNReadPcm", text);
}

std::string released(int size) {
    return "release frame of " + std::to_string(size);
}

std::string shortBlock(int copied, int wanted) {
    return refused("len!=buf_size," + std::to_string(copied) + "<>" + std::to_string(wanted));
}

Bytes frameOf(std::size_t size, unsigned char first) {
    Bytes bytes(size);
    for (unsigned char& byte : bytes) byte = first++;
    return bytes;
}

class ReadPcmTest : public PluginTest {
  protected:
    ReadPcmTest()
        : output(new Output), id(handleOf(output)), text(std::to_string(id)), buffer(kCapacity + 1, '.') {}

    int read(int size) { return VNReadPcm(id, buffer.data(), size, &length); }

    std::string inBuffer(std::size_t size) { return std::string(buffer.begin(), buffer.begin() + size); }

    FifoBuffer* store() {
        const auto entry = _vornisa_maps.find(id);
        return entry == _vornisa_maps.end() ? nullptr : dynamic_cast<FifoBuffer*>(entry->second);
    }

    /** The number of bytes that the next reads take from the store; -1 without a store. */
    int kept() { return store() ? store()->Size() : -1; }

    Output* output;
    int id;
    std::string text;
    std::vector<char> buffer;
    int length = 17;
};

TEST_F(ReadPcmTest, RefusesHandleZero) {
    EXPECT_EQ(VNReadPcm(0, buffer.data(), 4, &length), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), Events{refused("!id")});
    EXPECT_EQ(length, 17);
    EXPECT_TRUE(_vornisa_maps.empty());
}

TEST_F(ReadPcmTest, GivesAFrameAsOneBlock) {
    output->frames = {Bytes{'a', 'b', 'c', 'd'}, Bytes{'e'}};
    EXPECT_EQ(read(4), VNRES_SUCCEED);
    EXPECT_EQ(length, 4);
    EXPECT_EQ(inBuffer(5), "abcd.");
    EXPECT_EQ(happened(), (Events{canPull, pull, released(4)}));
    EXPECT_EQ(output->frames.size(), 1u);
}

TEST_F(ReadPcmTest, KeepsAStoreOf128KibWithTheHandle) {
    output->frames = {Bytes{'a', 'b', 'c'}};
    EXPECT_EQ(read(1), VNRES_SUCCEED);
    ASSERT_EQ(_vornisa_maps.size(), 1u);
    ASSERT_TRUE(store());
    EXPECT_EQ(store()->Max(), kCapacity);
    EXPECT_EQ(kept(), 2);
}

TEST_F(ReadPcmTest, CreatesANamedStoreWithoutCopyFunctionsAndWaits) {
    output->frames = {Bytes{'a', 'b', 'c'}};
    const FifoCalls calls;
    EXPECT_EQ(read(2), VNRES_SUCCEED);
    EXPECT_EQ(calls.all(),
              (Events{"FifoBuffer(pcmsrc,131072,null,null)", "Pop(2,true)", "Push(3,true)", "Pop(2,true)"}));
}

TEST_F(ReadPcmTest, UsesAnExistingStore) {
    _vornisa_maps[id] = new FifoBuffer("test", 8, nullptr, nullptr);
    ASSERT_TRUE(store()->Push("abc", 3, true));
    EXPECT_EQ(read(9), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), Events{refused("buf_size>buff->Max(),9>8")});
    EXPECT_EQ(read(3), VNRES_SUCCEED);
    EXPECT_EQ(inBuffer(4), "abc.");
    EXPECT_EQ(happened(), Events{});
}

TEST_F(ReadPcmTest, CreatesAStoreForAnEmptyEntry) {
    _vornisa_maps[id] = nullptr;
    output->frames = {Bytes{'a'}};
    EXPECT_EQ(read(1), VNRES_SUCCEED);
    EXPECT_TRUE(store());
}

TEST_F(ReadPcmTest, ServesTheRestOfAFrameWithoutTheSource) {
    output->frames = {frameOf(2048, 0), frameOf(2048, 0)};
    EXPECT_EQ(read(1024), VNRES_SUCCEED);
    EXPECT_EQ(length, 1024);
    EXPECT_EQ(happened(), (Events{canPull, pull, released(2048)}));
    EXPECT_EQ(read(1024), VNRES_SUCCEED);
    EXPECT_EQ(length, 1024);
    EXPECT_EQ(happened(), Events{});
    EXPECT_EQ(static_cast<unsigned char>(buffer[1]), 1);
    EXPECT_EQ(output->frames.size(), 1u);
}

TEST_F(ReadPcmTest, AShortBlockSucceedsAndIsLogged) {
    output->frames = {frameOf(1024, 0), frameOf(1024, 0)};
    EXPECT_EQ(read(1600), VNRES_SUCCEED);
    EXPECT_EQ(length, 1024);
    EXPECT_EQ(buffer[1024], '.');
    EXPECT_EQ(happened(), (Events{canPull, pull, released(1024), shortBlock(1024, 1600)}));
}

TEST_F(ReadPcmTest, ABlockFromTheStoreIsNotFilledUpFromTheSource) {
    output->frames = {Bytes{'a', 'b', 'c'}, Bytes{'d', 'e'}};
    EXPECT_EQ(read(2), VNRES_SUCCEED);
    happened();
    EXPECT_EQ(read(2), VNRES_SUCCEED);
    EXPECT_EQ(length, 1);
    EXPECT_EQ(inBuffer(2), "cb");
    EXPECT_EQ(happened(), Events{shortBlock(1, 2)});
}

TEST_F(ReadPcmTest, AcceptsANullLength) {
    output->frames = {Bytes{'a', 'b', 'c'}};
    EXPECT_EQ(VNReadPcm(id, buffer.data(), 4, nullptr), VNRES_SUCCEED);
    EXPECT_EQ(inBuffer(4), "abc.");
    EXPECT_EQ(happened(), (Events{canPull, pull, released(3), shortBlock(3, 4)}));
}

TEST_F(ReadPcmTest, ReadsUpToTheCapacityOfTheStore) {
    output->frames = {frameOf(kCapacity, 7)};
    EXPECT_EQ(read(kCapacity), VNRES_SUCCEED);
    EXPECT_EQ(length, kCapacity);
    EXPECT_EQ(std::memcmp(buffer.data(), frameOf(kCapacity, 7).data(), kCapacity), 0);
    EXPECT_EQ(happened(), (Events{canPull, pull, released(kCapacity)}));
}

TEST_F(ReadPcmTest, RefusesMoreThanTheCapacityOfTheStore) {
    output->frames = {Bytes{'a'}};
    EXPECT_EQ(read(kCapacity + 1), VNRES_INVALID_ARG);
    EXPECT_EQ(length, 17);
    EXPECT_EQ(happened(), Events{refused("buf_size>buff->Max(),131073>131072")});
    EXPECT_EQ(kept(), 0);
}

TEST_F(ReadPcmTest, PullsPastEmptyFrames) {
    output->frames = {Bytes{}, Bytes{}, Bytes{'a', 'b'}};
    EXPECT_EQ(read(2), VNRES_SUCCEED);
    EXPECT_EQ(inBuffer(3), "ab.");
    EXPECT_EQ(happened(), (Events{canPull, pull, released(0), pull, released(0), pull, released(2)}));
}

TEST_F(ReadPcmTest, FailsWhenAPullIsRefused) {
    script.refuse("IStreamOutput::PullFrame");
    EXPECT_EQ(read(4), VNRES_FAIL);
    EXPECT_EQ(length, 17);
    EXPECT_EQ(happened(),
              (Events{canPull, pull, refused("!output->PullFrame(frm)," + text + ":pull frame fail!")}));
}

TEST_F(ReadPcmTest, APullWithoutAFrameHasFailed) {
    output->givesNoFrame = true;
    EXPECT_EQ(read(4), VNRES_FAIL);
    EXPECT_EQ(length, 17);
    EXPECT_EQ(happened(),
              (Events{canPull, pull, refused("!output->PullFrame(frm)," + text + ":pull frame fail!")}));
}

TEST_F(ReadPcmTest, FailsWhenASourceEndsAfterAnEmptyFrame) {
    output->frames = {Bytes{}};
    EXPECT_EQ(read(4), VNRES_FAIL);
    EXPECT_EQ(happened(), (Events{canPull, pull, released(0), pull,
                                  refused("!output->PullFrame(frm)," + text + ":pull frame fail!")}));
}

TEST_F(ReadPcmTest, IsUnsupportedWhereFramesCannotBePulled) {
    script.refuse("IStreamOutput::IsSupportedPullFrame");
    EXPECT_EQ(read(4), VNRES_UNSUPPORTED);
    EXPECT_EQ(length, 17);
    EXPECT_EQ(happened(), (Events{canPull, refused("!output->IsSupportedPullFrame()," + text +
                                                   ":this dev is not supported pull frame!")}));
}

TEST_F(ReadPcmTest, RefusesAnObjectWithoutFrameOutput) {
    const int other = handleOf(new Stream<ControlPart, InputPart>);
    EXPECT_EQ(VNReadPcm(other, buffer.data(), 4, &length), VNRES_WRONG_DEVICE);
    EXPECT_EQ(length, 17);
    EXPECT_EQ(happened(),
              Events{refused("!output," + std::to_string(other) + ":this dev can not output frame!")});
}

TEST_F(ReadPcmTest, ServesTheStoreEvenWhenFramesCanNoLongerBePulled) {
    output->frames = {Bytes{'a', 'b'}};
    EXPECT_EQ(read(1), VNRES_SUCCEED);
    happened();
    script.refuse("IStreamOutput::IsSupportedPullFrame");
    EXPECT_EQ(read(1), VNRES_SUCCEED);
    EXPECT_EQ(inBuffer(1), "b");
    EXPECT_EQ(happened(), Events{});
}

TEST_F(ReadPcmTest, DropsAFrameThatTheStoreCannotHold) {
    output->frames = {frameOf(kCapacity + 1, 0), Bytes{'a'}};
    EXPECT_EQ(read(4), VNRES_BUF_TOO_SMALL);
    EXPECT_EQ(length, 17);
    EXPECT_EQ(happened(), (Events{canPull, pull,
                                  refused("buff->Max() - buff->Size() < frm->size," + text +
                                          "buf size is not enough.131072,0+131073"),
                                  released(kCapacity + 1)}));
    EXPECT_EQ(read(1), VNRES_SUCCEED);
    EXPECT_EQ(inBuffer(1), "a");
}

TEST_F(ReadPcmTest, ASizeOfZeroPullsFramesUntilTheStoreIsFull) {
    output->frames = {Bytes{'a', 'b', 'c', 'd'}, frameOf(kCapacity - 3, 0)};
    EXPECT_EQ(read(0), VNRES_BUF_TOO_SMALL);
    EXPECT_EQ(length, 17);
    EXPECT_EQ(happened(), (Events{canPull, pull, released(4), pull,
                                  refused("buff->Max() - buff->Size() < frm->size," + text +
                                          "buf size is not enough.131072,4+131069"),
                                  released(kCapacity - 3)}));
    EXPECT_EQ(inBuffer(1), ".");
    EXPECT_EQ(read(4), VNRES_SUCCEED) << "the store keeps the bytes from before the failure";
    EXPECT_EQ(inBuffer(5), "abcd.");
    EXPECT_EQ(happened(), Events{});
}

TEST_F(ReadPcmTest, AFrameMayFillTheStoreToItsLastByte) {
    output->frames = {Bytes{'a', 'b'}, frameOf(kCapacity - 2, 0)};
    EXPECT_EQ(read(0), VNRES_FAIL) << "there is no third frame";
    EXPECT_EQ(kept(), kCapacity);
}

TEST_F(ReadPcmTest, ANegativeSizePullsFramesUntilThereAreNone) {
    output->frames = {Bytes{'a'}, Bytes{'b'}};
    EXPECT_EQ(read(-1), VNRES_FAIL);
    EXPECT_EQ(inBuffer(1), ".");
    EXPECT_EQ(kept(), 2);
}

/** A source of frames of any declared size, regardless of their data. */
class OddSource : public Root, public virtual common::IStreamOutput {
  public:
    bool IsSupportedPullFrame() override { return true; }
    bool PullFrame(std::shared_ptr<frame_t>& frame, bool) override {
        frame = std::make_shared<frame_t>();
        frame->data = bytes;
        frame->size = size;
        return true;
    }
    unsigned char bytes[4] = {'a', 'b', 'c', 'd'};
    int size = -1;
};

TEST_F(ReadPcmTest, TheStoreRefusesAFrameOfNegativeSize) {
    auto* const source = new OddSource;
    const int odd = handleOf(source);
    EXPECT_EQ(VNReadPcm(odd, buffer.data(), 4, &length), VNRES_BUFFER_ERROR);
    EXPECT_EQ(length, 17);
    EXPECT_EQ(happened(), Events{refused("!buff->Push((uint8 *) frm->data, frm->size, true)")});
    source->size = 4;
    EXPECT_EQ(VNReadPcm(odd, buffer.data(), 4, &length), VNRES_SUCCEED);
    EXPECT_EQ(inBuffer(4), "abcd");
}

TEST_F(ReadPcmTest, EachHandleHasItsOwnStore) {
    auto* const otherOutput = new Output;
    const int other = handleOf(otherOutput);
    output->frames = {Bytes{'a', 'b'}};
    otherOutput->frames = {Bytes{'x', 'y'}};
    EXPECT_EQ(read(1), VNRES_SUCCEED);
    EXPECT_EQ(VNReadPcm(other, buffer.data(), 2, &length), VNRES_SUCCEED);
    EXPECT_EQ(inBuffer(2), "xy");
    EXPECT_EQ(read(1), VNRES_SUCCEED);
    EXPECT_EQ(inBuffer(1), "b");
}

TEST_F(ReadPcmTest, TheStoreIsDestroyedWithTheHandle) {
    script.offer(new Output);
    int other = 0;
    ASSERT_EQ(VNAcquire(VNRES_STAMP, &other), VNRES_SUCCEED);
    EXPECT_EQ(VNReadPcm(other, buffer.data(), 1, &length), VNRES_FAIL);
    ASSERT_EQ(_vornisa_maps.count(other), 1u);
    EXPECT_EQ(VNRelease(other), VNRES_SUCCEED);
    EXPECT_EQ(_vornisa_maps.count(other), 0u);
}

TEST_F(ReadPcmTest, AHandleThatWasNeverAcquiredGetsAStoreToo) {
    const int other = neverAcquired(new Stream<ControlPart>);
    EXPECT_EQ(VNReadPcm(other, buffer.data(), 4, &length), VNRES_WRONG_DEVICE);
    EXPECT_EQ(happened(),
              Events{refused("!output," + std::to_string(other) + ":this dev can not output frame!")});
    ASSERT_EQ(_vornisa_maps.count(other), 1u);
    EXPECT_TRUE(dynamic_cast<FifoBuffer*>(_vornisa_maps[other]));
    EXPECT_EQ(VNRelease(other), VNRES_SUCCEED);
    EXPECT_TRUE(_vornisa_maps.empty());
}

TEST_F(ReadPcmTest, AnExceptionOfTheSourceIsLogged) {
    output->frames = {Bytes{'a', 'b'}};
    EXPECT_EQ(read(1), VNRES_SUCCEED);
    EXPECT_EQ(read(1), VNRES_SUCCEED);
    happened();
    script.throwAt("IStreamOutput::PullFrame");
    EXPECT_EQ(read(1), VNRES_FAIL);
    EXPECT_EQ(happened(), (Events{canPull, pull, refused("exception:std::bad_alloc")}));
}

/** An endless source of frames of random sizes. Each byte depends on its position in the stream alone. */
class EndlessSource : public Root, public virtual common::IStreamOutput {
  public:
    explicit EndlessSource(int longest) : longest_(longest), data_(static_cast<std::size_t>(longest)) {}

    static unsigned char byteAt(std::uint64_t position) {
        return static_cast<unsigned char>((position * 0x9e3779b97f4a7c15u) >> 56);
    }

    bool IsSupportedPullFrame() override { return true; }
    bool PullFrame(std::shared_ptr<frame_t>& frame, bool) override {
        // Sizes of all magnitudes, 0 among them.
        const int bound = 1 << random_() % 18;
        size = static_cast<int>(random_() % static_cast<unsigned>(std::min(bound, longest_) + 1));
        for (int i = 0; i < size; ++i) data_[static_cast<std::size_t>(i)] = byteAt(position_++);
        frame = std::make_shared<frame_t>();
        frame->data = data_.data();
        frame->size = size;
        frame->release = [this](frame_t*) {
            std::fill(data_.begin(), data_.end(), static_cast<unsigned char>(0));
        };
        return true;
    }

    int size = 0; /**< of the frame that was pulled last */

  private:
    int longest_;
    std::vector<unsigned char> data_;
    std::uint64_t position_ = 0;
    std::mt19937 random_{20240};
};

/** Reads `count` blocks of sizes given by `nextSize` and compares each with a model. */
template <class NextSize>
void readInBlocks(int id, EndlessSource& source, int count, NextSize nextSize) {
    std::vector<unsigned char> block(kCapacity + 1);
    std::uint64_t position = 0;
    int left = 0;
    for (int i = 0; i < count; ++i) {
        const int wanted = nextSize();
        block[static_cast<std::size_t>(wanted)] = 0xee;
        int length = -1;
        ASSERT_EQ(VNReadPcm(id, block.data(), wanted, &length), VNRES_SUCCEED) << "block " << i;
        if (left == 0) left = source.size;
        ASSERT_EQ(length, std::min(wanted, left)) << "block " << i;
        left -= length;
        for (int k = 0; k < length; ++k)
            ASSERT_EQ(block[static_cast<std::size_t>(k)], EndlessSource::byteAt(position++))
                << "byte " << k << " of block " << i;
        ASSERT_EQ(block[static_cast<std::size_t>(wanted)], 0xee) << "written past the end of block " << i;
    }
}

class ReadPcmModelTest : public PluginTest {
  protected:
    ReadPcmModelTest() : source(new EndlessSource(kCapacity)), id(handleOf(source)) { keepLines(false); }

    EndlessSource* source;
    int id;
};

class ReadPcmBlocksTest : public ReadPcmModelTest, public ::testing::WithParamInterface<int> {};

TEST_P(ReadPcmBlocksTest, DeliversEachByteOnceInOrderInBlocksOfOneSize) {
    readInBlocks(id, *source, 1500, [] { return GetParam(); });
}

INSTANTIATE_TEST_SUITE_P(Sizes, ReadPcmBlocksTest,
                         ::testing::Values(1, 2, 3, 160, 1024, 1600, 4096, 44099, 65536, 131071, 131072),
                         ::testing::PrintToStringParamName());

TEST_F(ReadPcmModelTest, DeliversEachByteOnceInOrderInBlocksOfAnySize) {
    std::mt19937 random(7);
    readInBlocks(id, *source, 8000, [&random] {
        const int bound = 1 << random() % 18;
        return 1 + static_cast<int>(random() % static_cast<unsigned>(bound));
    });
}

/** An hour of sound in frames of 20 ms of 48 kHz stereo: a pattern whose length divides no frame size. */
class HourOfSound : public Root, public virtual common::IStreamOutput {
  public:
    static constexpr int kFrameBytes = 3840;
    static constexpr int kFrames = 180'000;
    static constexpr std::size_t kPeriod = 65'521;  // prime

    HourOfSound() {
        for (std::size_t at = 0; at < pattern_.size(); ++at)
            pattern_[at] = EndlessSource::byteAt(at % kPeriod);
    }

    bool IsSupportedPullFrame() override { return true; }
    bool PullFrame(std::shared_ptr<frame_t>& frame, bool) override {
        if (pulled_ == kFrames) return false;
        frame = std::make_shared<frame_t>();
        frame->data = pattern_.data() + static_cast<std::size_t>(pulled_) * kFrameBytes % kPeriod;
        frame->size = kFrameBytes;
        ++pulled_;
        return true;
    }

    const unsigned char* bytesAt(std::int64_t position) const {
        return pattern_.data() + static_cast<std::size_t>(position) % kPeriod;
    }

  private:
    std::vector<unsigned char> pattern_ = std::vector<unsigned char>(kPeriod + kFrameBytes);
    int pulled_ = 0;
};

TEST_F(ReadPcmModelTest, AnHourInBlocksOfAnySizeArrivesCompleteAndInOrder) {
    auto* const sound = new HourOfSound;
    const int hour = handleOf(sound);
    std::mt19937 random(11);
    std::vector<unsigned char> block(2 * HourOfSound::kFrameBytes);
    std::int64_t position = 0;
    for (;;) {
        const int wanted = 1 + static_cast<int>(random() % block.size());
        int length = -1;
        const int result = VNReadPcm(hour, block.data(), wanted, &length);
        if (result == VNRES_FAIL) break;
        ASSERT_EQ(result, VNRES_SUCCEED);
        const auto left = HourOfSound::kFrameBytes - static_cast<int>(position % HourOfSound::kFrameBytes);
        ASSERT_EQ(length, std::min(wanted, left)) << "at byte " << position;
        ASSERT_EQ(std::memcmp(block.data(), sound->bytesAt(position), static_cast<std::size_t>(length)), 0)
            << "at byte " << position;
        position += length;
    }
    EXPECT_EQ(position, std::int64_t{HourOfSound::kFrames} * HourOfSound::kFrameBytes);
}

}  // namespace
}  // namespace unit
