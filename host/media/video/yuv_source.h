#ifndef KEP_HOST_YUV_SOURCE_H
#define KEP_HOST_YUV_SOURCE_H

#include "media/video/video_source.h"

namespace kep::host {

/** The camera's pictures as one block of planar YUV 4:2:0 each, shared with every other reader and not
 * copied. */
class YuvSource final : public api::streaming::IYuvSource, public VideoSource {
  public:
    ~YuvSource() override { shutDown(); }

  protected:
    bool start() override { return openRun(); }
    void stop() override { closeRun(); }
    bool pull(std::shared_ptr<api::streaming::common::frame_t>& frame, bool wait) override;

  private:
    PicturePtr asOneBlock(const PicturePtr& picture);

    PicturePool pool_;
};

}  // namespace kep::host

#endif
