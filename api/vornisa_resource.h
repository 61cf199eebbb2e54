#ifndef VORNISA_RESOURCE_H
#define VORNISA_RESOURCE_H

#include "kep/object_base.h"

namespace vornisa {

/** A kind of object that the API can acquire. */
struct Resource {
    int type; /**< one of VNRes_Type */
    kep::object_base* (*create)(const char* text);
    const char* text; /**< argument of `create` */
};

/** Null for an unknown type. */
const Resource* findResource(int type);

}  // namespace vornisa

#endif
