#ifndef KEP_HOST_DETECTOR_H
#define KEP_HOST_DETECTOR_H

#include <thread>

#include "media/pipeline/element.h"
#include "objects/mutex.h"

namespace kep::host {

/**
 * An element that analyses pictures on a thread of its own: the newest one whenever it is done with the last;
 * it skips those in between. All packets pass on at once. A derived class calls retire() in its destructor.
 */
class KEP_API Detector : public Element {
  public:
    ~Detector() override;

    void take(const SharedPacket& packet, const Element&) override;
    bool takesAtOnce() const override { return nextTakeAtOnce(); }

  protected:
    /** Analyses a picture, on the detector's thread. */
    virtual void look(const MediaPacket& packet) = 0;
    /** A new stream of pictures begins. */
    virtual void begin() {}

    bool up(State target) override;
    bool down(State target) override;

  private:
    void work();

    Mutex mutex_;
    Condition changed_;
    SharedPacket newest_ GUARDED_BY(mutex_); /**< not yet analysed */
    bool isStopped_ GUARDED_BY(mutex_) = false;
    std::thread thread_;
};

}  // namespace kep::host

#endif
