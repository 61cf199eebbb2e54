#ifndef VORNISA_TESTS_TWIN_RECORD_H
#define VORNISA_TESTS_TWIN_RECORD_H

#include <string>
#include <vector>

namespace kep {
struct object_base;
}

namespace twin {

using Events = std::vector<std::string>;

/** Back to a framework that grants everything, in which nothing has happened. Destroys its objects. */
void reset();

void note(const std::string& event);
/** What has happened since the last call: calls of the framework, lines of the plug-in. */
Events events();

/** From now on the operation answers with null or false. */
void refuse(const std::string& operation);
/** Notes a call; false when it is to be refused. */
bool granted(const std::string& operation, const std::string& arguments = "");

/** For each object of the framework from its making to its end. */
void born(kep::object_base* object);
void gone(kep::object_base* object);
/** The object made last, null when there is none. */
kep::object_base* newest();
int alive();

/** Bytes that the allocator of the framework was last asked for. */
int lastAllocation();

}  // namespace twin

#endif
