#ifndef VORNISA_TESTS_PHOTOGRAPHY_H
#define VORNISA_TESTS_PHOTOGRAPHY_H

#include "objects.h"

namespace scripted {

/** The still-picture taker. */
class Photography : public Stream<ControlPart, kep::api::streaming::IPhotography> {
  public:
    bool Snap(const char* url, bool wait) override;
    bool Snap(bool wait) override;
    void SetWidth(int pixels) override;
    void SetHeight(int pixels) override;
    void SetQuality(int percent) override;
    void SetSourceIndex(int index) override;
    void SetUrl(const char* url) override;
};

}  // namespace scripted

#endif
