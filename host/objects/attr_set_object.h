#ifndef KEP_HOST_ATTR_SET_OBJECT_H
#define KEP_HOST_ATTR_SET_OBJECT_H

#include "kep/attr_set.h"
#include "kep/object_base.h"

namespace kep::host {

/** An attribute set as a handle for callers of the C entry points. */
class AttrSetObject final : public object_base {
  public:
    base::AttrSet attributes;
};

}  // namespace kep::host

#endif
