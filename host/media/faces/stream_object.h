#ifndef KEP_HOST_STREAM_OBJECT_H
#define KEP_HOST_STREAM_OBJECT_H

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "kep/status.h"
#include "kep/streaming.h"
#include "media/audio/audio_block.h"
#include "objects/object_impl.h"

namespace kep::host {

/**
 * Implements the streaming interfaces over an object of the framework, its body, whose children may be
 * elements. State and messages (`name=started`, `name=stopped`, `name=frameLost,media=video,lost=2,total=5`,
 * `name=deviceLost,...`) are those of the body.
 *
 * A derived class implements start() and stop() and calls shutDown() first in its destructor.
 */
class StreamObject : public virtual api::streaming::common::IStreamControl,
                     public virtual api::streaming::common::IState,
                     public stream::IStatus {
  public:
    State CurrentState() override;
    bool StatusIsPlay() const override;
    bool ChangeUp(State target) override;
    bool ChangeDown(State target) override;
    bool RegisterMessageCallback(const std::function<bool(const char*)>& callback) override;

  protected:
    StreamObject();
    ~StreamObject() override;

    /** Called before the elements go up to play. On failure it writes an error line and returns false; the
     * state then stays as it was. */
    virtual bool start() = 0;
    /** Called when the elements are down. Must make every blocked call of a reader or writer return. */
    virtual void stop() = 0;

    // Whether a setting is valid. Writes an error line with its name and value if it is not.
    static bool isSetting(const char* name, int value, int low, int high, bool even = false);
    /** Width or height of a picture. */
    static bool isSideSetting(const char* name, int pixels);
    /** The format of uncompressed sound. */
    static bool isPcmSetting(AudioFormat format, int mostChannels);

    /** Calls `action` unless the stream is up or changing its state, and keeps it down during the call. */
    void whileDown(const std::function<void()>& action);

    /** Takes ownership of an element and links it after the last one. */
    void add(std::unique_ptr<ObjectImpl> element);

    /**
     * Called by the stream's own threads when it has ended by itself. Posts `why` and `name=stopped`. The
     * object counts as stopped; the next change of state cleans it up.
     */
    void ended(const std::string& why);
    /** ended() for a lost device. */
    void endedByLoss(const char* media, const std::string& device);

    /** Called when an element has reported a failure that ends the stream. */
    virtual void elementFailed(const std::string& why) { ended(why); }

    void shutDown();
    void post(std::string message) { messages_.post(std::move(message)); }

  private:
    class Body;

    void hear(base::Message& message);
    void postEnd(const std::string& why) REQUIRES(mark_);
    void clearUp() REQUIRES(change_);

    Mutex change_; /**< serialises changes of state */
    Mutex mark_;   /**< guards the state against ended(); never held while elements change theirs */
    std::atomic<bool> hasEnded_{false};
    bool isUp_ GUARDED_BY(mark_) = false;
    std::string endedEarly_ GUARDED_BY(mark_); /**< why the stream ended while it was still starting */
    std::atomic<std::size_t> lostInAll_{0};
    MessagePort messages_;
    std::unique_ptr<Body> body_;
};

}  // namespace kep::host

#endif
