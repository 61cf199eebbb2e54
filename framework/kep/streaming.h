#ifndef KEP_STREAMING_H
#define KEP_STREAMING_H

#include <functional>
#include <memory>

#include "kep/frame.h"
#include "kep/object_base.h"
#include "kep/state.h"
#include "kep/visibility.h"

namespace kep {
namespace api {
namespace streaming {
namespace common {

/** The state of a streaming object. */
class KEP_API IState : public virtual kep::object_base {
  public:
    virtual State CurrentState() = 0;
};

/** Not derived from IState: its operations are the first of a virtual table of its own. */
class KEP_API IStreamControl : public virtual kep::object_base {
  public:
    virtual bool ChangeUp(State target) = 0;
    virtual bool ChangeDown(State target) = 0;
    /** Delivers the object's messages, as attribute text, on a thread of the framework. */
    virtual bool RegisterMessageCallback(const std::function<bool(const char*)>& callback) = 0;
};

class KEP_API IStreamOutput : public virtual kep::object_base {
  public:
    virtual bool IsSupportedPullFrame() = 0;
    /** Takes the next frame; with `wait` it blocks until there is one or the stream has ended. */
    virtual bool PullFrame(std::shared_ptr<frame_t>& frame, bool wait) = 0;
};

class KEP_API IStreamInput : public virtual IState {
  public:
    virtual bool IsSupportedPushFrame() = 0;
    /** Takes a frame. The caller may change its data as soon as the call has returned. */
    virtual bool PushFrame(std::shared_ptr<frame_t> frame) = 0;
};

class KEP_API IEncoder : public virtual kep::object_base {
  public:
    virtual void SetBitRate(int bitsPerSecond) = 0;
};

class KEP_API IBitRateControl : public virtual kep::object_base {
  public:
    virtual void SetFrameRate(int framesPerSecond) = 0;
};

class KEP_API IVideo : public virtual kep::object_base {
  public:
    virtual void SetWidth(int pixels) = 0;
    virtual void SetHeight(int pixels) = 0;
};

class KEP_API IH264 : public virtual kep::object_base {
  public:
    virtual void SetGop(int frames) = 0;
    virtual void RequestKeyFrame() = 0;
};

class KEP_API IAudio : public virtual kep::object_base {
  public:
    virtual void SetSampleRate(int hertz) = 0;
    virtual void SetChannels(int channels) = 0;
};

}  // namespace common

/** Raw pictures, planar YUV 4:2:0. Each CreateNew returns null for an unknown device name. */
class KEP_API IYuvSource : public virtual common::IStreamControl,
                           public virtual common::IStreamOutput,
                           public virtual common::IVideo,
                           public virtual common::IBitRateControl {
  public:
    static IYuvSource* CreateNew(const char* device);
};

/** H.264 access units as a byte stream. */
class KEP_API IH264Source : public virtual common::IStreamControl,
                            public virtual common::IStreamOutput,
                            public virtual common::IVideo,
                            public virtual common::IEncoder,
                            public virtual common::IBitRateControl,
                            public virtual common::IH264 {
  public:
    static IH264Source* CreateNew(const char* device);
};

/** Interleaved 16-bit little-endian samples. */
class KEP_API IPcmSource : public virtual common::IStreamControl,
                           public virtual common::IStreamOutput,
                           public virtual common::IAudio {
  public:
    static IPcmSource* CreateNew(const char* device);
};

/** AAC frames with ADTS headers. */
class KEP_API IAacSource : public virtual common::IStreamControl,
                           public virtual common::IStreamOutput,
                           public virtual common::IAudio,
                           public virtual common::IEncoder {
  public:
    static IAacSource* CreateNew(const char* device);
};

/** The loudspeaker; takes interleaved 16-bit little-endian samples. */
class KEP_API IPcmPlayer : public virtual common::IStreamControl,
                           public virtual common::IStreamInput,
                           public virtual common::IAudio {
  public:
    static IPcmPlayer* CreateNew(const char* device);
};

/** The still camera. */
class KEP_API IPhotography : public virtual common::IStreamControl, public virtual common::IState {
  public:
    static IPhotography* CreateNew(const char* device);

    /** Writes the newest picture to a file URL; with `wait` the call returns once it is written. */
    virtual bool Snap(const char* url, bool wait) = 0;
    /** The same, to the URL set before. */
    virtual bool Snap(bool wait) = 0;
    virtual void SetWidth(int pixels) = 0;
    virtual void SetHeight(int pixels) = 0;
    virtual void SetQuality(int percent) = 0;
    virtual void SetSourceIndex(int index) = 0;
    virtual void SetUrl(const char* url) = 0;
};

}  // namespace streaming
}  // namespace api
}  // namespace kep

#endif
