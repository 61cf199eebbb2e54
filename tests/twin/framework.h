/**
 * A second declaration of the firmware's media framework, from its published interface alone: nothing here
 * comes from framework/, so that a declaration misread there does not fit here. "Open" marks what the
 * interface leaves undefined. Objects are larger than framework/ declares them, as a firmware's may be.
 */
#ifndef VORNISA_TESTS_TWIN_FRAMEWORK_H
#define VORNISA_TESTS_TWIN_FRAMEWORK_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include "padding.h"

namespace kep {

struct object_base {
    virtual ~object_base();
    static void* operator new(std::size_t size);
    static void operator delete(void* memory, std::size_t size);
};

enum struct State { null = 1, play = 4 };

namespace base {

class AttrSet {
  public:
    AttrSet();
    explicit AttrSet(const char* text);
    AttrSet(const AttrSet&) = delete;
    AttrSet& operator=(const AttrSet&) = delete;
    ~AttrSet();

    bool Parse(const char* text);
    bool Add(const char* key, const char* value);
    const char* Get(const char* key) const;
    const char* GetOrDef(const char* key, const char* otherwise) const;
    std::string ToString(bool inBraces) const;

  private:
    std::vector<std::pair<std::string, std::string>> items_;
    twin::Padding<96> padding_{"AttrSet"};
};

bool ConvertToImpl(const char* text, int& value);
bool ConvertToImpl(const char* text, bool& value);

std::string UniqueString();

struct IUrl {
    static bool Parse(const char* url, AttrSet& parts);
};

struct IAttributes {
    virtual void toString(std::string& text) const = 0;
    virtual bool fromString(const char* text) = 0;
};

/** Open: how a message gives access to its attributes. */
struct Message : IAttributes {
    virtual AttrSet& set() = 0;
};

struct IMessageProcesser {
    virtual bool RegisterMessageProcessCallback(const std::function<bool(Message&)>& callback) = 0;
};

using TypeCheck = bool (*)(const std::type_info& type);

struct IParam {
    virtual bool Set(const char* key, void* value, const std::type_info* type) = 0;
    virtual bool Get(const char* key, void* out, const std::type_info* type) const = 0;
    virtual bool SetStr(const char* key, const char* value) = 0;
    virtual bool SetWithType(const char* key, void* value, const std::type_info* type, TypeCheck check) = 0;
    virtual bool GetWithType(const char* key, void* out, const std::type_info* type,
                             TypeCheck check) const = 0;
};

/** Open: that IParam is a base, and the slots of the last two. */
struct object : object_base, IAttributes, IParam {
    virtual bool Enable(bool on) = 0;
    virtual bool Configure(AttrSet& set) = 0;
    virtual bool addChild(object* child) = 0;
    virtual bool fromAttrSet(AttrSet& set) = 0;
    virtual bool toAttrSet(AttrSet& set) const = 0;
    virtual bool sendMessage(Message& message) = 0;
    virtual bool receiveMessage(Message& message) = 0;
    virtual std::uint32_t NameId() const = 0;
    virtual object* FindChild(const std::function<bool(const object&)>& matches, bool recursive) = 0;
};

/** Open: slots. */
struct IClass {
    static IClass* Find(const char* type);
    static IClass* FindBeforeNew(const char* type);
    virtual object_base* create(AttrSet& set) = 0;
    virtual bool initObject(object_base* made, AttrSet& set) = 0;
    virtual bool initAttrSet(object_base* made, AttrSet& set) = 0;
};

struct Object {
    static bool NewPreProcessAttrSet(AttrSet& set);
};

struct Factory {
    static Factory& Globle();
    bool Run(const char* command, AttrSet& arguments);
};

struct ostream {
    virtual ostream& operator<<(char character) = 0;
    virtual ostream& operator<<(int number) = 0;
    virtual ostream& operator<<(std::int64_t number) = 0;
    virtual ostream& operator<<(void* address) = 0;
    virtual ostream& operator<<(const char* text) = 0;
};

class ostream_string : public ostream {
  public:
    explicit ostream_string(std::string& text);
    ostream& operator<<(char character) override;
    ostream& operator<<(int number) override;
    ostream& operator<<(std::int64_t number) override;
    ostream& operator<<(void* address) override;
    ostream& operator<<(const char* text) override;

  private:
    std::string* text_;
    twin::Padding<32> padding_{"ostream_string"};
};

/** Open: none of its own operations is virtual. */
class FifoBuffer : public object_base {
  public:
    using Copy = void (*)(void* to, const void* from, int size);

    FifoBuffer(const char* name, int capacity, Copy in, Copy out);
    ~FifoBuffer() override;
    int Max() const;
    int Size() const;
    bool Push(const void* data, int size, bool wait);
    int Pop(void* data, int size, bool wait);

  private:
    std::vector<char> bytes_;
    int capacity_;
    twin::Padding<256> padding_{"FifoBuffer"};
};

}  // namespace base

namespace stream {

extern base::ostream* __dbg_couts[];
extern int __root_path_offset;

struct IStatus {
    virtual bool StatusIsPlay() const = 0;
};

/** Open: slots. */
struct IMedia : base::IAttributes {
    virtual int Codec() const = 0;
};

/** Open: slots. */
struct Packet {
    virtual const void* Data() const = 0;
    virtual int Size() const = 0;
    virtual std::int64_t PlayTime() const = 0;
    virtual bool IsKey() const = 0;
    virtual IMedia* Media() const = 0;
};

/** Open: how the template reaches the segment's address and the slot. */
class ISharedMemory : public virtual base::object {
  public:
    virtual bool ShmName(const char* name);

  protected:
    explicit ISharedMemory(int size);
    ~ISharedMemory() override;
    void* Address() const;
    int Slot() const;

  private:
    std::vector<char>* attached_ = nullptr;
    twin::Padding<128> padding_{"ISharedMemory"};
};

}  // namespace stream

namespace dev {

/** Open: that no other operation comes between or before these. */
struct SoundDevice {
    virtual bool IsSupportVolumeControl() = 0;
    virtual void volume(int value) = 0;
    virtual bool IsSupportMute() = 0;
    virtual void mute(bool on) = 0;
};

struct IMicrophone : SoundDevice {
    static IMicrophone* Microphone(const char* name);
};

struct ISpeaker : SoundDevice {
    static ISpeaker* Speaker(const char* name);
};

}  // namespace dev

namespace api::streaming {

namespace common {

struct frame_t {
    int leading;
    unsigned char* data;
    int size;
    char flag;
    std::int64_t stamp; /**< nanoseconds of the steady clock */
    std::function<void(frame_t*)> release;

    ~frame_t() {
        if (release) release(this);
    }
};

struct IStreamControl : virtual object_base {
    virtual bool ChangeUp(State to) = 0;
    virtual bool ChangeDown(State to) = 0;
    virtual bool onMessage(const std::function<bool(const char*)>& callback) = 0;
};

struct IStreamOutput : virtual object_base {
    virtual bool IsSupportedPullFrame() = 0;
    virtual bool PullFrame(std::shared_ptr<frame_t>& frame, bool wait) = 0;
};

/** Open: its name. It has no data, as no interface has. */
struct Stateful : virtual object_base {
    virtual State CurrentState() = 0;
};

struct IStreamInput : virtual Stateful {
    virtual bool IsSupportedPushFrame() = 0;
    virtual bool PushFrame(std::shared_ptr<frame_t> frame) = 0;
};

struct IEncoder : virtual object_base {
    virtual void bitRate(int value) = 0;
};

struct IBitRateControl : virtual object_base {
    virtual void frameRate(int value) = 0;
};

struct IVideo : virtual object_base {
    virtual void width(int value) = 0;
    virtual void height(int value) = 0;
};

struct IH264 : virtual object_base {
    virtual void group(int length) = 0;
    virtual void keyFrame() = 0;
};

struct IAudio : virtual object_base {
    virtual void first(int value) = 0;
    virtual void second(int value) = 0;
};

}  // namespace common

// Open: which bases they have besides object_base, and the order of those.

struct IYuvSource : virtual common::IVideo, virtual common::IStreamOutput, virtual common::IStreamControl {
    static IYuvSource* CreateNew(const char* device);
};

struct IH264Source : virtual common::IStreamOutput, virtual common::IStreamControl {
    static IH264Source* CreateNew(const char* device);
};

struct IPcmSource : virtual object_base {
    static IPcmSource* CreateNew(const char* device);
};

struct IAacSource : virtual common::IAudio {
    static IAacSource* CreateNew(const char* device);
};

struct IPcmPlayer : virtual common::IStreamInput {
    static IPcmPlayer* CreateNew(const char* device);
};

/** Open: that control and state are its bases in this order, and the slots of its own operations. */
struct IPhotography : virtual common::IStreamControl, virtual common::Stateful {
    static IPhotography* CreateNew(const char* device);
    virtual bool Snap(const char* url, bool wait) = 0;
    virtual bool Snap(bool wait) = 0;
    virtual void width(int value) = 0;
    virtual void height(int value) = 0;
    virtual void quality(int value) = 0;
    virtual void source(int index) = 0;
    virtual void url(const char* text) = 0;
};

}  // namespace api::streaming
}  // namespace kep

/** Non-zero is success. Open: that they have C linkage, including ReflectAdd, whose result is only stored. */
extern "C" {
kep::object_base* kepCreate(const char* text);
kep::object_base* kepCreateApp(const char* text);
kep::object_base* kepCreateAttrSet(const char* text);
const char* kepAttrGetStr(kep::object_base* set, const char* key);
std::int64_t kepAttrGetInt(kep::object_base* set, const char* key);
int kepStatusUp(kep::object_base* object, const char* state);
int kepStatusDown(kep::object_base* object, const char* state);
int kepRegisterMessageProcess(kep::object_base* object, int (*handler)(const char* message));
int kepDestroy(kep::object_base* object);
int ReflectAdd(void (*callback)(const char*), int priority, const char* name, const char* version);
}

#endif
