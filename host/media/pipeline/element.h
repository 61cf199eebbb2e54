#ifndef KEP_HOST_ELEMENT_H
#define KEP_HOST_ELEMENT_H

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "media/pipeline/media_packet.h"
#include "objects/object_impl.h"

namespace kep::host {

class Outlet;

/** Why a file is not made, or only in part. */
struct FileFailure {
    std::string url; /**< empty when it has none */
    std::string reason;
    std::string kept; /**< URL of the file that holds the part; empty when there is none */

    /** The attributes of a message that tells of it. */
    std::string text() const;
};

/**
 * A part of a pipeline: takes packets from the elements linked before it and gives packets to those linked
 * after it, on the thread that brought them. A source and a queue bring a thread of their own.
 *
 * A pipeline goes up from its end and down from its start, so an element is ready before anything reaches it,
 * and in down() it still passes on what it holds: nothing comes to it any more, and those after it still run.
 * A class with a thread calls retire() in its destructor.
 */
class KEP_API Element : public ObjectImpl {
  public:
    ~Element() override;

    /** Takes a packet that `from` gives. May be called by several elements before it, each on its own thread.
     */
    virtual void take(const SharedPacket& packet, const Element& from) = 0;

    /** The stream is cut here: what follows belongs to another file. By default passed on. */
    virtual void takeCut(const Element&) { giveCut(); }

    /** Announces the media of the packets to come, so that an encoder is set up before the first of them.
     * Called by the thread that gives them. By default passed on. */
    virtual void expect(const MediaPtr& media) { announce(media); }

    /**
     * Requests a key frame at `at`, or at once when that is past. Passed on to the encoder, which ignores it
     * when it has made one since `at`. Called on any thread while the element is up.
     */
    virtual void requestKeyFrame(SteadyTime at);

    /**
     * Whether take() neither waits nor works for long, here and in all elements after this one. A queue
     * before such an element needs no thread. Asked when the elements after this one are up.
     */
    virtual bool takesAtOnce() const { return false; }

    /** Makes the elements before this one pass on what they hold back and what is due. Called on the thread
     * of an element that has received nothing for a while. */
    virtual void giveDue();

    /** While an element discards, its take() keeps nothing and waits for nothing, and what it held is gone:
     * the source goes on elsewhere in its file, or ends at once. By default passed on. */
    virtual void discard(bool discards);

    /** Links `next` after this element. Only while both are down. */
    void link(Element& next);
    /** Where others can listen to what this element gives; null for nowhere. Only while it is down. */
    void setOutlet(std::shared_ptr<Outlet> outlet) { outlet_ = std::move(outlet); }

    /** Sends `name=NAME,TEXT` upward. */
    void tell(const char* name, const std::string& attributes);
    /** Counts packets that this element had to drop, and sends `name=frameLost` upward; nothing for none. */
    void tellLost(Media::Kind kind, std::size_t lost);
    void tellLost(const PacketCounts& lost);
    void tellLost(const std::vector<SharedPacket>& lost);
    /** Writes an information line when the element's "dbg" is on. */
    void trace(std::string_view text) const;

  protected:
    Element();

    /** Gives a packet to every element after this one that takes its media. */
    void give(const SharedPacket& packet);
    void giveCut() const;
    void announce(const MediaPtr& media) const;
    /** Whether what is given is taken at once. */
    bool nextTakeAtOnce() const;

    const std::vector<Element*>& next() const { return next_; }
    const std::vector<Element*>& previous() const { return previous_; }

    /** Sends `name=deviceLost` upward. */
    void tellDeviceLost(Media::Kind kind, const std::string& device);

    /** Sends `name=failed,media=file` upward. */
    void tellFailed(const FileFailure& failure) { tell("failed", "media=file," + failure.text()); }

    /** Reads a span of time, the value of property `name`; an error line tells of any other text. */
    bool readSpan(const char* name, const std::string& text, std::chrono::milliseconds& span) const;

  private:
    enum class Caps { both, video, audio };

    bool takes(Media::Kind kind) const;

    std::atomic<Caps> caps_{Caps::both}; /**< the media that this element takes */
    std::atomic<bool> traced_{false};
    std::vector<Element*> next_;
    std::vector<Element*> previous_;
    std::shared_ptr<Outlet> outlet_;
    std::array<std::atomic<std::size_t>, 2> lost_{};
};

/** An element at which a stream begins: nothing is linked before it. */
class KEP_API SourceElement : public Element {
  public:
    void take(const SharedPacket&, const Element&) final {}
};

}  // namespace kep::host

#endif
