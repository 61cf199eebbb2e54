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

/** Why a file was not written, or only in part. */
struct FileFailure {
    std::string url; /**< empty when it has none */
    std::string reason;
    std::string kept; /**< URL of the file that holds the part; empty when there is none */

    /** The attributes of the message about it. */
    std::string text() const;
};

/**
 * A part of a pipeline: takes packets from the elements linked before it and gives packets to those linked
 * after it, on the thread that delivers them. Sources and queues have threads of their own.
 *
 * A pipeline goes up from its end and down from its start: an element is ready before it receives a packet,
 * and in down() it flushes what it holds, as it receives nothing more and the elements after it still run.
 * A class with a thread calls retire() in its destructor.
 */
class KEP_API Element : public ObjectImpl {
  public:
    ~Element() override;

    /** Takes a packet from `from`. Several elements before it may call it, each on its own thread. */
    virtual void take(const SharedPacket& packet, const Element& from) = 0;

    /** The stream is cut here: what follows belongs to another file. By default passed on. */
    virtual void takeCut(const Element&) { giveCut(); }

    /** Announces the media of the packets to come, so that an encoder is set up before the first of them.
     * Called by the thread that delivers them. By default passed on. */
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

    /** While an element discards, take() drops packets and never blocks; what it held is dropped, too. Used
     * when a source seeks, or ends at once. By default passed on. */
    virtual void discard(bool discards);

    /** Links `next` after this element. Only while both are down. */
    void link(Element& next);
    /** Sets the outlet that also receives what this element gives; null for none. Only while it is down. */
    void setOutlet(std::shared_ptr<Outlet> outlet) { outlet_ = std::move(outlet); }

    /** Sends `name=NAME,TEXT` upward. */
    void tell(const char* name, const std::string& attributes);
    /** Counts packets that this element had to drop, and sends `name=frameLost` upward, unless there are
     * none. */
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
    /** Whether takesAtOnce() holds for all elements after this one. */
    bool nextTakeAtOnce() const;

    const std::vector<Element*>& next() const { return next_; }
    const std::vector<Element*>& previous() const { return previous_; }

    /** Sends `name=deviceLost` upward. */
    void tellDeviceLost(Media::Kind kind, const std::string& device);

    /** Sends `name=failed,media=file` upward. */
    void tellFailed(const FileFailure& failure) { tell("failed", "media=file," + failure.text()); }

    /** Parses a time span, the value of property `name`. False, with an error line, for any other text. */
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

/** An element at which a stream begins: no element is linked before it. */
class KEP_API SourceElement : public Element {
  public:
    void take(const SharedPacket&, const Element&) final {}
};

}  // namespace kep::host

#endif
