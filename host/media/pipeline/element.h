#ifndef KEP_HOST_ELEMENT_H
#define KEP_HOST_ELEMENT_H

#include <string>
#include <string_view>
#include <vector>

#include "core/object_impl.h"
#include "media/pipeline/media_packet.h"

namespace kep::host {

/**
 * A part of a pipeline: takes packets from the elements linked before it and gives packets to those linked
 * after it, on the thread that brought them. A source and a queue bring a thread of their own.
 *
 * A pipeline goes up from its end and down from its start, so an element is ready before anything reaches it,
 * and in down() it still passes on what it holds: nothing comes to it any more, and those after it still run.
 */
class Element : public ObjectImpl {
  public:
    /** Takes a packet that `from` gives. May be called by several elements before it, each on its own thread.
     */
    virtual void take(const SharedPacket& packet, const Element& from) = 0;

    /** The stream is cut here: what follows belongs to another file. As it stands here it is passed on. */
    virtual void takeCut(const Element&) { giveCut(); }

    /** Links `next` after this element. Only while both are down. */
    virtual bool link(Element& next);
    void unlink();

    /** Which media this element takes: "video", "audio", or empty for both. */
    const std::string& caps() const { return caps_; }

  protected:
    Element();

    /** Gives a packet to every element after this one that takes its media. */
    void give(const SharedPacket& packet) const;
    void giveCut() const;

    const std::vector<Element*>& next() const { return next_; }

    /** Writes an information line when the element's "dbg" is on. */
    void trace(std::string_view text) const;

  private:
    std::string caps_;
    bool traced_ = false;
    std::vector<Element*> next_;
};

}  // namespace kep::host

#endif
