/**
 * The binary interface to the framework: slots of virtual functions, offsets of fields, values. The firmware
 * is compiled elsewhere, so that a change would compile here and fail on the camera.
 */
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

#include "kep/device.h"
#include "kep/fifo_buffer.h"
#include "kep/message.h"
#include "kep/object.h"
#include "kep/packet.h"
#include "kep/reflect.h"
#include "kep/shared_memory.h"
#include "kep/shm_rects.h"
#include "kep/status.h"
#include "kep/streaming.h"
#include "vornisa_api.h"

namespace unit {
namespace {

using namespace kep::api::streaming;
using namespace kep::api::streaming::common;
using kep::State;
using kep::base::IClass;
using kep::base::IParam;
using kep::base::object;
using Text = kep::base::ostream;

/** The index of a virtual function in the virtual table of its class. */
template <class Member>
std::ptrdiff_t slot(Member member) {
    struct {
        std::ptrdiff_t function;
        std::ptrdiff_t adjustment;
    } parts;
    static_assert(sizeof parts == sizeof member, "a pointer to a member function is two words");
    std::memcpy(&parts, &member, sizeof parts);
    return parts.function / static_cast<std::ptrdiff_t>(sizeof(void*));
}

/** The table of a class with object_base as its first or virtual base begins with the two destructors. */
constexpr std::ptrdiff_t kAfterRoot = 2;

TEST(SlotTest, StreamInterfacesBeginWithTheirOwnOperations) {
    EXPECT_EQ(slot(&IStreamControl::ChangeUp), kAfterRoot);
    EXPECT_EQ(slot(&IStreamControl::ChangeDown), kAfterRoot + 1);
    EXPECT_EQ(slot(&IStreamControl::RegisterMessageCallback), kAfterRoot + 2);
    EXPECT_EQ(slot(&IStreamOutput::IsSupportedPullFrame), kAfterRoot);
    EXPECT_EQ(slot(&IStreamOutput::PullFrame), kAfterRoot + 1);
    EXPECT_EQ(slot(&IEncoder::SetBitRate), kAfterRoot);
    EXPECT_EQ(slot(&IBitRateControl::SetFrameRate), kAfterRoot);
    EXPECT_EQ(slot(&IVideo::SetWidth), kAfterRoot);
    EXPECT_EQ(slot(&IVideo::SetHeight), kAfterRoot + 1);
    EXPECT_EQ(slot(&IH264::SetGop), kAfterRoot);
    EXPECT_EQ(slot(&IH264::RequestKeyFrame), kAfterRoot + 1);
    EXPECT_EQ(slot(&IAudio::SetSampleRate), kAfterRoot);
    EXPECT_EQ(slot(&IAudio::SetChannels), kAfterRoot + 1);
}

// Its virtual base has no data, so that both share one table.
TEST(SlotTest, StreamInputContinuesTheTableOfItsState) {
    EXPECT_EQ(slot(&IState::CurrentState), kAfterRoot);
    EXPECT_EQ(slot(&IStreamInput::IsSupportedPushFrame), kAfterRoot + 1);
    EXPECT_EQ(slot(&IStreamInput::PushFrame), kAfterRoot + 2);
}

TEST(SlotTest, PhotographyContinuesTheTableOfItsControl) {
    EXPECT_EQ(slot(static_cast<bool (IPhotography::*)(const char*, bool)>(&IPhotography::Snap)), 5);
    EXPECT_EQ(slot(static_cast<bool (IPhotography::*)(bool)>(&IPhotography::Snap)), 6);
    EXPECT_EQ(slot(&IPhotography::SetWidth), 7);
    EXPECT_EQ(slot(&IPhotography::SetHeight), 8);
    EXPECT_EQ(slot(&IPhotography::SetQuality), 9);
    EXPECT_EQ(slot(&IPhotography::SetSourceIndex), 10);
    EXPECT_EQ(slot(&IPhotography::SetUrl), 11);
}

TEST(SlotTest, ObjectsHaveTheirOperationsAfterTheRoot) {
    EXPECT_EQ(slot(&object::Enable), kAfterRoot);
    EXPECT_EQ(slot(&object::Configure), kAfterRoot + 1);
    EXPECT_EQ(slot(&object::addChild), kAfterRoot + 2);
    EXPECT_EQ(slot(&object::fromAttrSet), kAfterRoot + 3);
    EXPECT_EQ(slot(&object::toAttrSet), kAfterRoot + 4);
    EXPECT_EQ(slot(&object::sendMessage), kAfterRoot + 5);
    EXPECT_EQ(slot(&object::receiveMessage), kAfterRoot + 6);
    EXPECT_EQ(slot(&object::NameId), kAfterRoot + 7);
    EXPECT_EQ(slot(&object::FindChild), kAfterRoot + 8);
}

TEST(SlotTest, InterfacesWithoutTheRootBeginAtTheStart) {
    EXPECT_EQ(slot(&kep::base::IAttributes::toString), 0);
    EXPECT_EQ(slot(&kep::base::IAttributes::fromString), 1);
    EXPECT_EQ(slot(&kep::base::Message::Attributes), 2);
    EXPECT_EQ(slot(&kep::base::IMessageProcesser::RegisterMessageProcessCallback), 0);
    EXPECT_EQ(slot(&kep::stream::IStatus::StatusIsPlay), 0);
    EXPECT_EQ(slot(&kep::stream::ISharedMemory::ShmName), 0);
    EXPECT_EQ(slot(&IParam::Set), 0);
    EXPECT_EQ(slot(&IParam::Get), 1);
    EXPECT_EQ(slot(&IParam::SetStr), 2);
    EXPECT_EQ(slot(&IParam::SetWithType), 3);
    EXPECT_EQ(slot(&IParam::GetWithType), 4);
}

TEST(SlotTest, TextStreamsInsertInTheirOrder) {
    EXPECT_EQ(slot(static_cast<Text& (Text::*)(char)>(&Text::operator<<)), 0);
    EXPECT_EQ(slot(static_cast<Text& (Text::*)(int)>(&Text::operator<<)), 1);
    EXPECT_EQ(slot(static_cast<Text& (Text::*)(std::int64_t)>(&Text::operator<<)), 2);
    EXPECT_EQ(slot(static_cast<Text& (Text::*)(void*)>(&Text::operator<<)), 3);
    EXPECT_EQ(slot(static_cast<Text& (Text::*)(const char*)>(&Text::operator<<)), 4);
}

/** Makes operations of IClass accessible that only the framework's templates call. */
class OpenClass : public IClass {
  public:
    using IClass::create;
    using IClass::initAttrSet;
    using IClass::initObject;

  protected:
    ~OpenClass() = default;
};

TEST(SlotTest, ClassesCreateBeforeTheySetUp) {
    EXPECT_EQ(slot(&OpenClass::create), 0);
    EXPECT_EQ(slot(&OpenClass::initObject), 1);
    EXPECT_EQ(slot(&OpenClass::initAttrSet), 2);
}

TEST(SlotTest, SoundDevicesHaveVolumeBeforeMute) {
    using kep::dev::ISoundDevice;
    EXPECT_EQ(slot(&ISoundDevice::IsSupportVolumeControl), 0);
    EXPECT_EQ(slot(&ISoundDevice::SetVolume), 1);
    EXPECT_EQ(slot(&ISoundDevice::IsSupportMute), 2);
    EXPECT_EQ(slot(&ISoundDevice::SetMute), 3);
}

TEST(SlotTest, PacketsAndTheirMedia) {
    using kep::stream::IMedia;
    using kep::stream::Packet;
    EXPECT_EQ(slot(&IMedia::Codec), 2);
    EXPECT_EQ(slot(&Packet::Data), 0);
    EXPECT_EQ(slot(&Packet::Size), 1);
    EXPECT_EQ(slot(&Packet::PlayTime), 2);
    EXPECT_EQ(slot(&Packet::IsKey), 3);
    EXPECT_EQ(slot(&Packet::Media), 4);
}

TEST(FrameLayoutTest, FieldsAreInTheFrameworksOrder) {
    const frame_t frame;
    const auto at = [&frame](const void* field) {
        return static_cast<const char*>(field) - reinterpret_cast<const char*>(&frame);
    };
    constexpr std::ptrdiff_t kWord = sizeof(void*);
    EXPECT_EQ(at(&frame.index), 0);
    EXPECT_EQ(at(&frame.data), kWord);
    EXPECT_EQ(at(&frame.size), 2 * kWord);
    EXPECT_EQ(at(&frame.key), 2 * kWord + 4);
    EXPECT_EQ(at(&frame.stamp), 2 * kWord + 8);
    EXPECT_EQ(at(&frame.release), 2 * kWord + 16);
    EXPECT_EQ(sizeof frame, static_cast<std::size_t>(6 * kWord + 16));
}

static_assert(sizeof(frame_t::key) == 1, "");
static_assert(sizeof(frame_t::stamp) == 8, "");

static_assert(sizeof(State) == 4, "");
static_assert(static_cast<int>(State::null) == 1, "");
static_assert(static_cast<int>(State::ready) == 2, "");
static_assert(static_cast<int>(State::play) == 4, "");

// An interface is one pointer to a table: data would shift the next interface in an object.
static_assert(sizeof(kep::object_base) == sizeof(void*), "");
static_assert(sizeof(IStreamControl) == sizeof(void*), "");
static_assert(sizeof(IStreamInput) == sizeof(void*), "");
static_assert(sizeof(IStreamOutput) == sizeof(void*), "");
static_assert(sizeof(object) == 3 * sizeof(void*), "object_base, IAttributes, IParam");

// The plug-in allocates these itself, so they have spare room for a larger class of the firmware.
static_assert(sizeof(kep::base::AttrSet) >= 256, "");
static_assert(sizeof(kep::base::ostream_string) >= 64, "");
static_assert(sizeof(kep::base::FifoBuffer) >= 512, "");
static_assert(sizeof(kep::stream::ISharedMemory) >= 256 + sizeof(object), "");
static_assert(sizeof(kep::stream::TSharedMemory<int>) >= 512 + sizeof(object), "");

#if UINTPTR_MAX == UINT32_MAX
// The records of the board's public header.
static_assert(offsetof(VNDemuxRes, filename) == 0, "");
static_assert(offsetof(VNDemuxRes, seek_ms) == 8, "");
static_assert(offsetof(VNDemuxRes, cbfrm) == 16, "");
static_assert(offsetof(VNDemuxRes, cbtrunk) == 20, "");
static_assert(offsetof(VNDemuxRes, duration) == 24, "");
static_assert(offsetof(VNDemuxRes, user) == 32, "");
static_assert(sizeof(VNDemuxRes) == 40, "");
static_assert(offsetof(VNDemuxPacket, data) == 0, "");
static_assert(offsetof(VNDemuxPacket, size) == 4, "");
static_assert(offsetof(VNDemuxPacket, pts_ms) == 8, "");
static_assert(offsetof(VNDemuxPacket, codec) == 16, "");
static_assert(offsetof(VNDemuxPacket, media) == 20, "");
static_assert(offsetof(VNDemuxPacket, iskey) == 24, "");
static_assert(offsetof(VNDemuxPacket, user) == 28, "");
static_assert(sizeof(VNDemuxPacket) == 32, "");
static_assert(offsetof(VNDemuxTrack, media) == 0, "");
static_assert(offsetof(VNDemuxTrack, desc) == 4, "");
static_assert(offsetof(VNDemuxTrack, user) == 8, "");
static_assert(sizeof(VNDemuxTrack) == 12, "");
#endif

}  // namespace
}  // namespace unit
