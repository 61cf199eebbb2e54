#ifndef VORNISA_TESTS_FLAT_CALLS_H
#define VORNISA_TESTS_FLAT_CALLS_H

#include <functional>
#include <string>

#include "kep/attr_set.h"
#include "kep/object_base.h"

/**
 * The double of the framework's flat calls except the creation of objects: attribute sets, states, messages,
 * destruction. Recorded calls show an attribute set as its text in brackets, a Named by its name.
 */
namespace scripted {

/** An object for the flat calls, which read its attributes. */
class Named : public kep::object_base {
  public:
    explicit Named(const std::string& name, const char* attributes = "");
    ~Named() override;

    const std::string name;
    const kep::base::AttrSet attributes;
};

/** Undoes the calls below and frees the attribute sets that were not destroyed. */
void resetFlatCalls();

/** From now on no attribute set is created for `text`; "nullptr" stands for a null text. */
void refuseSet(const std::string& text);

/** How many attribute sets have not been destroyed. */
int setsLeft();

/** From now on each successful kepStatusUp runs `action` on the caller's thread; null for none. */
void afterStatusUp(const std::function<void()>& action);

/** The handler that was registered last; null when there is none. */
int (*messageHandler())(const char*);

}  // namespace scripted

#endif
