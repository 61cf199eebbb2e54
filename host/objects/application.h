#ifndef KEP_HOST_APPLICATION_H
#define KEP_HOST_APPLICATION_H

#include "objects/object_impl.h"

namespace kep::host {

/**
 * What holds the pipelines of one purpose and starts and stops them together. Its `layout` is its content; an
 * application without one does nothing. A new layout takes the place of the old one once it is made whole:
 * when it is refused, what runs goes on. A property that it lacks is looked for in its content.
 */
class Application final : public ObjectImpl {
  public:
    Application() { reserveAttributes({"layout"}); }
    ~Application() override { retire(); }

    bool Configure(base::AttrSet& attributes) override;

  protected:
    bool asksChildren() const override { return true; }
};

}  // namespace kep::host

#endif
