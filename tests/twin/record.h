#ifndef VORNISA_TESTS_TWIN_RECORD_H
#define VORNISA_TESTS_TWIN_RECORD_H

#include <string>
#include <vector>

namespace kep {
struct object_base;
}

namespace twin {

using Events = std::vector<std::string>;

/** Destroys the framework's objects, grants every operation again and discards the events. */
void reset();

void note(const std::string& event);
/** The events since the last call: calls of the framework, lines of the plug-in. */
Events events();

/** From now on the operation returns null or false. */
void refuse(const std::string& operation);
/** Records a call; false when it is to be refused. */
bool granted(const std::string& operation, const std::string& arguments = "");

/** For each object of the framework: registers it at its creation, removes it at its destruction. */
void objectCreated(kep::object_base* object);
void objectDestroyed(kep::object_base* object);
/** The object created last; null when there is none. */
kep::object_base* newestObject();
int liveObjects();

/** The size in bytes of the framework's last allocation. */
int lastAllocation();

}  // namespace twin

#endif
