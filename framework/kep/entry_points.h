#ifndef KEP_ENTRY_POINTS_H
#define KEP_ENTRY_POINTS_H

#include <cstdint>

#include "kep/object_base.h"
#include "kep/visibility.h"

/** The framework's flat calls. Null or 0 means that the framework refused; any other result is success. */
extern "C" {

/** Creates the object that a description names. */
KEP_API kep::object_base* kepCreate(const char* text);

/** Creates an application from a description of it or of its only pipeline. */
KEP_API kep::object_base* kepCreateApp(const char* text);

/** Parses attribute text into a new object. */
KEP_API kep::object_base* kepCreateAttrSet(const char* text);

/** The text of `key` in an attribute set or in the attributes of any object; null when absent. */
KEP_API const char* kepAttrGetStr(kep::object_base* set, const char* key);

/** The integer of `key`; 0 when absent. */
KEP_API std::int64_t kepAttrGetInt(kep::object_base* set, const char* key);

/** Raises an object to a state named "ready" or "play". */
KEP_API int kepStatusUp(kep::object_base* object, const char* state);

/** Lowers an object to a state named "ready" or "null". */
KEP_API int kepStatusDown(kep::object_base* object, const char* state);

/** Passes every message of an application to `handler`, as attribute text. The handler returns 1 for a
 * message that it has handled. */
KEP_API int kepRegisterMessageProcess(kep::object_base* app, int (*handler)(const char* message));

/** Destroys an object that one of these calls created. */
KEP_API int kepDestroy(kep::object_base* object);
}

#endif
