#ifndef VORNISA_TESTS_FLAT_CALLS_H
#define VORNISA_TESTS_FLAT_CALLS_H

#include <functional>
#include <string>

#include "kep/attr_set.h"
#include "kep/object_base.h"

/**
 * The double of the framework's flat calls beside the creation of objects: attribute sets, states, messages,
 * the end of objects. In the record of calls an attribute set is shown as its text in brackets, a Named by
 * its name.
 */
namespace scripted {

/** An object that the flat calls accept, with attributes that they answer from. */
class Named : public kep::object_base {
  public:
    explicit Named(const std::string& name, const char* attributes = "");
    ~Named() override;

    const std::string name;
    const kep::base::AttrSet attributes;
};

/** Forgets what the calls below were told, and frees the attribute sets that were not destroyed. */
void resetFlatCalls();

/** From now on there is no attribute set for `text`; for a null one "nullptr". */
void refuseSet(const std::string& text);

/** How many attribute sets have not been destroyed. */
int setsLeft();

/** What the framework does on its own account when an object has reached a state, on the caller's thread. */
void afterStatusUp(const std::function<void()>& action);

/** The handler that was registered last; null when there is none. */
int (*messageHandler())(const char*);

}  // namespace scripted

#endif
