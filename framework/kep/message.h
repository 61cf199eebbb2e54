#ifndef KEP_MESSAGE_H
#define KEP_MESSAGE_H

#include <functional>

#include "kep/attr_set.h"
#include "kep/attributes.h"
#include "kep/visibility.h"

namespace kep {
namespace base {

/** A message that an element sends to its parents: attributes, one of which is "name". */
class KEP_API Message : public IAttributes {
  public:
    /** The attributes, to which a handler may add; the text form contains them. */
    virtual AttrSet& Attributes() = 0;

  protected:
    ~Message() = default;
};

/** An object that passes its messages to a callback. */
class KEP_API IMessageProcesser {
  public:
    /**
     * Delivers every further message to `callback`, on a thread of the framework. The callback returns
     * whether it has handled the message.
     */
    virtual bool RegisterMessageProcessCallback(const std::function<bool(Message&)>& callback) = 0;

  protected:
    ~IMessageProcesser() = default;
};

}  // namespace base
}  // namespace kep

#endif
