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
 * What every picture passes between the camera and those who see it: first the flips, then the privacy zones,
 * then the stamps.
 * What is to be done is read anew for each picture, so that a change by any process is in the next one.
 */
class KEP_API ImageStage {
  public:
    /**
     * The picture as all are to see it: `frame` itself when there is nothing to do. One that others hold too
     * is copied before it is painted. Null when there is no memory.
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
