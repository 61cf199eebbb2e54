#ifndef VORNISA_REGISTRY_H
#define VORNISA_REGISTRY_H

#include <map>

#include "kep/object_base.h"

/**
 * Auxiliary objects that calls attached to a handle, by handle. VNRelease destroys them with it. The value
 * may be null; a handle without one has no entry. Not guarded: see "Threads" in vornisa_api.h.
 */
extern std::map<int, kep::object_base*> _vornisa_maps;

#endif
