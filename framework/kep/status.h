#ifndef KEP_STATUS_H
#define KEP_STATUS_H

#include "kep/visibility.h"

namespace kep {
namespace stream {

/** An object that can be asked whether it is playing. */
class KEP_API IStatus {
  public:
    virtual bool StatusIsPlay() const = 0;

  protected:
    ~IStatus() = default;
};

}  // namespace stream
}  // namespace kep

#endif
