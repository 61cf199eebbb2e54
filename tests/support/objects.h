#ifndef VORNISA_TESTS_OBJECTS_H
#define VORNISA_TESTS_OBJECTS_H

#include <deque>
#include <string>
#include <vector>

#include "kep/message.h"
#include "kep/object.h"
#include "kep/status.h"
#include "kep/streaming.h"
#include "script.h"

/**
 * Objects of the double. Each part implements one interface of the framework and records its calls. A Stream
 * combines any parts with the streams' common root, a Plain object any parts with kep::base::object.
 */
namespace scripted {

namespace common = kep::api::streaming::common;

/** Counts as a live object and records its destruction. */
class Root : public virtual kep::object_base {
  public:
    Root();
    ~Root() override;
};

class StatePart : public virtual common::IState {
  public:
    kep::State CurrentState() override;
    kep::State state = kep::State::null;
};

class ControlPart : public virtual common::IStreamControl, public virtual StatePart {
  public:
    bool ChangeUp(kep::State target) override;
    bool ChangeDown(kep::State target) override;
    bool RegisterMessageCallback(const std::function<bool(const char*)>& callback) override;
    std::function<bool(const char*)> callback;
};

class OutputPart : public virtual common::IStreamOutput {
  public:
    bool IsSupportedPullFrame() override;
    bool PullFrame(std::shared_ptr<common::frame_t>& frame, bool wait) override;
    /** The frames to pull; a pull fails when there are none. */
    std::deque<std::vector<unsigned char>> frames;
    /** Makes pulls succeed without a frame. */
    bool givesNoFrame = false;
};

class InputPart : public virtual common::IStreamInput, public virtual StatePart {
  public:
    bool IsSupportedPushFrame() override;
    bool PushFrame(std::shared_ptr<common::frame_t> frame) override;
    std::shared_ptr<common::frame_t> pushed;
    std::chrono::steady_clock::time_point stampWhenPushed;
};

class EncoderPart : public virtual common::IEncoder {
  public:
    void SetBitRate(int bitsPerSecond) override;
};

class BitRateControlPart : public virtual common::IBitRateControl {
  public:
    void SetFrameRate(int framesPerSecond) override;
};

class VideoPart : public virtual common::IVideo {
  public:
    void SetWidth(int pixels) override;
    void SetHeight(int pixels) override;
};

class H264Part : public virtual common::IH264 {
  public:
    void SetGop(int frames) override;
    void RequestKeyFrame() override;
};

class AudioPart : public virtual common::IAudio {
  public:
    void SetSampleRate(int hertz) override;
    void SetChannels(int channels) override;
};

class StatusPart : public kep::stream::IStatus {
  public:
    virtual ~StatusPart() = default;
    bool StatusIsPlay() const override;
    bool plays = false;
};

class MessagePart : public kep::base::IMessageProcesser {
  public:
    virtual ~MessagePart() = default;
    bool RegisterMessageProcessCallback(const std::function<bool(kep::base::Message&)>& callback) override;
    std::function<bool(kep::base::Message&)> callback;
};

class ParamPart : public kep::base::IParam {
  public:
    virtual ~ParamPart() = default;
    bool Set(const char* key, void* value, const std::type_info* type) override;
    bool Get(const char* key, void* value, const std::type_info* type) const override;
    bool SetStr(const char* key, const char* value) override;
    bool SetWithType(const char* key, void* value, const std::type_info* type,
                     kep::base::TypeCompatible compatible) override;
    bool GetWithType(const char* key, void* value, const std::type_info* type,
                     kep::base::TypeCompatible compatible) const override;
};

template <class... Parts>
class Stream : public Root, public Parts... {};

class PlainObject : public kep::base::object {
  public:
    PlainObject();
    ~PlainObject() override;

    void toString(std::string& text) const override;
    bool fromString(const char* text) override;

    bool Set(const char* key, void* value, const std::type_info* type) override;
    bool Get(const char* key, void* value, const std::type_info* type) const override;
    bool SetStr(const char* key, const char* value) override;
    bool SetWithType(const char* key, void* value, const std::type_info* type,
                     kep::base::TypeCompatible compatible) override;
    bool GetWithType(const char* key, void* value, const std::type_info* type,
                     kep::base::TypeCompatible compatible) const override;

    bool Enable(bool enable) override;
    bool Configure(kep::base::AttrSet& attributes) override;
    bool addChild(kep::base::object* child) override;
    bool fromAttrSet(kep::base::AttrSet& attributes) override;
    bool toAttrSet(kep::base::AttrSet& attributes) const override;
    bool sendMessage(kep::base::Message& message) override;
    bool receiveMessage(kep::base::Message& message) override;
    std::uint32_t NameId() const override;
    kep::base::object* FindChild(const std::function<bool(const kep::base::object&)>& matches,
                                 bool recursive) override;

  private:
    ParamPart params_;
};

template <class... Parts>
class Plain : public PlainObject, public Parts... {};

/** A message with the attributes of `text`. */
class TextMessage final : public kep::base::Message {
  public:
    explicit TextMessage(const char* text);
    kep::base::AttrSet& Attributes() override;
    void toString(std::string& text) const override;
    bool fromString(const char* text) override;

  private:
    kep::base::AttrSet attributes_;
};

}  // namespace scripted

#endif
