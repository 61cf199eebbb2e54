#ifndef KEP_HOST_IMAGE_STAGE_H
#define KEP_HOST_IMAGE_STAGE_H

#include <chrono>

#include "kep/visibility.h"
#include "objects/shared_record.h"
#include "picture/image_record.h"
#include "picture/picture.h"
#include "picture/stamps.h"
#include "picture/zones.h"

namespace kep::host {

/**
 * Processes every picture of the camera before consumers get it: first the flips, then the privacy zones,
 * then the stamps. Settings are read for each picture, so that a change by any process applies to the next
 * one.
 */
class KEP_API ImageStage {
  public:
    /**
     * Returns the picture for consumers: `frame` itself if there is nothing to do. A shared frame is copied
     * before it is painted. Null when out of memory.
     *
     * @param captured when the picture was captured
     */
    FramePtr apply(FramePtr frame, std::chrono::steady_clock::time_point captured);

  private:
    FramePtr flipped(const AVFrame& frame, const ImageRecord& image);
    FramePtr copied(const AVFrame& frame);

    SharedRecordReader imageReader_{kImageSegment, sizeof(ImageRecord)};
    SharedRecordReader zonesReader_{"vornisa_shm_rects", sizeof(ZoneTable)};
    SharedRecordReader stampsReader_{kStampSegment, sizeof(StampTable)};
    StampPainter stampPainter_;
    PicturePool pool_;
};

}  // namespace kep::host

#endif
