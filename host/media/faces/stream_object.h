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
 * An object as the streaming interfaces show it. Its state and its messages (`name=started`, `name=stopped`,
 * `name=frameLost,media=video,lost=2,total=5`, `name=deviceLost,...`) are those of its body, an object like
 * any other, whose children may be elements.
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

    /** Called before the elements go up to play. False, with an error line written, leaves all as it was. */
    virtual bool start() = 0;
    /** Called when the elements are down; every waiting call of a reader or writer returns. */
    virtual void stop() = 0;

    // Whether a setting of an application makes sense; a line names it and its value when it does not.
    static bool isSetting(const char* name, int value, int low, int high, bool even = false);
    /** A side of a picture. */
    static bool isSideSetting(const char* name, int pixels);
    /** The format of uncompressed sound. */
    static bool isPcmSetting(AudioFormat format, int mostChannels);

    /** Calls `action` unless the stream is up or just changing its state; it stays down meanwhile. */
    void whileDown(const std::function<void()>& action);

    /** Takes an element over, behind those before it, and links it with the last of them. */
    void add(std::unique_ptr<ObjectImpl> element);

    /**
     * For the stream's own threads: it has ended by itself. From here on the object is stopped, posts
     * `why` and `name=stopped`, and is cleared up at its next change of state.
     */
    void ended(const std::string& why);
    /** The same of a device that is lost. */
    void endedByLoss(const char* media, const std::string& device);

    /** An element has reported what ends the stream. */
    virtual void elementFailed(const std::string& why) { ended(why); }

    void shutDown();
    void post(std::string message) { messages_.post(std::move(message)); }

  private:
    class Body;

    void hear(base::Message& message);
    void postEnd(const std::string& why) REQUIRES(mark_);
    void clearUp() REQUIRES(change_);

    Mutex change_; /**< one change of state at a time */
    Mutex mark_;   /**< state against ended(); never held while elements change theirs */
    std::atomic<bool> hasEnded_{false};
    bool isUp_ GUARDED_BY(mark_) = false;
    std::string endedEarly_ GUARDED_BY(mark_); /**< why the stream ended while it was still starting */
    std::atomic<std::size_t> lostInAll_{0};
    MessagePort messages_;
    std::unique_ptr<Body> body_;
};

}  // namespace kep::host

#endif
