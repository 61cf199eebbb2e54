#ifndef KEP_HOST_APPLICATION_H
#define KEP_HOST_APPLICATION_H

#include "objects/object_impl.h"

namespace kep::host {

/**
 * Holds the pipelines of one purpose and starts and stops them together. Its `layout` describes its content.
 * A new layout replaces the old one only once it is complete: when it is refused, the old one keeps running.
 * A property that the application lacks is looked up in its children.
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
