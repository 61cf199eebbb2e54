#ifndef KEP_OBJECT_H
#define KEP_OBJECT_H

#include <cstdint>
#include <functional>

#include "kep/attr_set.h"
#include "kep/attributes.h"
#include "kep/message.h"
#include "kep/object_base.h"
#include "kep/param.h"
#include "kep/visibility.h"

namespace kep {
namespace base {

/** An object created from description text. */
class KEP_API object : public kep::object_base, public IAttributes, public IParam {
  public:
    virtual bool Enable(bool enable) = 0;
    virtual bool Configure(AttrSet& attributes) = 0;
    virtual bool addChild(object* child) = 0;
    virtual bool fromAttrSet(AttrSet& attributes) = 0;
    virtual bool toAttrSet(AttrSet& attributes) const = 0;
    virtual bool sendMessage(Message& message) = 0;
    virtual bool receiveMessage(Message& message) = 0;

    /** The hash of the object's name; 0 when it has none. */
    virtual std::uint32_t NameId() const = 0;
    /** The first child that `matches`; with `recursive` also among the children's children. Null if none. */
    virtual object* FindChild(const std::function<bool(const object&)>& matches, bool recursive) = 0;
};

}  // namespace base
}  // namespace kep

#endif
