#ifndef KEP_HOST_IMAGE_STAGE_H
#define KEP_HOST_IMAGE_STAGE_H

#include "kep/visibility.h"
#include "objects/shared_record.h"
#include "picture/image_record.h"
#include "picture/picture.h"
#include "picture/zones.h"

namespace kep::host {

/**
 * What every picture passes between the camera and those who see it: first the flips, then the privacy zones.
 * What is to be done is read anew for each picture, so that a change by any process is in the next one.
 */
class KEP_API ImageStage {
  public:
    /**
     * The picture as all are to see it: `frame` itself when there is nothing to do. One that others hold too
     * is copied before it is painted. Null when there is no memory.
     */
    FramePtr apply(FramePtr frame);

  private:
    FramePtr flipped(const AVFrame& frame, const ImageRecord& image);
    FramePtr copied(const AVFrame& frame);

    SharedRecordReader imageReader_{kImageSegment, sizeof(ImageRecord)};
    SharedRecordReader zonesReader_{"vornisa_shm_rects", sizeof(ZoneTable)};
    PicturePool pool_;
};

}  // namespace kep::host

#endif
