/** Text stamps on the picture: properties of the framework's stamp object. */
#include <typeinfo>

#include "kep/attr_set.h"
#include "kep/object.h"
#include "vornisa_check.h"
#include "vornisa_handle.h"

using kep::base::AttrSet;
using kep::base::object;

VN_LOG_SINK(debugStreams);

/** The library's own stamp, for the functions without a handle; 0 until one of them needs it. */
static int _stamp;

/** Finds the object of a stamp's handle. */
static int find(const char* caller, int id, object*& obj) {
    VN_FAIL_IF_OF(caller, !id, "!id", VNRES_FAIL);
    obj = vornisa::objectAs<object>(id);
    VN_FAIL_IF_OF(caller, !obj, "!obj", VNRES_FAIL);
    return VNRES_SUCCEED;
}

static int set(const char* caller, object& obj, const char* property, AttrSet& ap) {
    VN_FAIL_IF_OF(caller, !obj.Set(property, &ap, &typeid(AttrSet)), "!obj->Set(\"", VNRES_FAIL, property,
                  "\",ap),", ap.ToString(false).c_str());
    return VNRES_SUCCEED;
}

/** The frame that coordinates refer to, whatever the size of the video. */
static void addReferenceFrame(AttrSet& ap) {
    ap.Add("refw", 1920);
    ap.Add("refh", 1080);
}

int VNStampInit0(int id, int w, int h, const char* font) try {
    object* obj = nullptr;
    if (const int failed = find(__func__, id, obj)) return failed;
    VN_FAIL_IF(!w, VNRES_INVALID_ARG);
    VN_FAIL_IF(!h, VNRES_INVALID_ARG);
    VN_FAIL_IF(!font, VNRES_INVALID_ARG);
    AttrSet ap;
    addReferenceFrame(ap);
    ap.Add("w", w);
    ap.Add("h", h);
    ap.Add("font", font);
    return set(__func__, *obj, "init0", ap);
}
VN_END

/** Shared by the two functions that set a stamp; they differ in the bits of the colour that they send. */
static int change(const char* caller, int id, int x, int y, unsigned int color, const char* pattern) {
    object* obj = nullptr;
    if (const int failed = find(caller, id, obj)) return failed;
    AttrSet ap;
    if (pattern) ap.Add("pattern", pattern);
    addReferenceFrame(ap);
    // A coordinate of 0 is never sent: it leaves the position in that direction unchanged.
    if (x) ap.Add("x", x);
    if (y) ap.Add("y", y);
    ap.Add("color", color);
    return set(caller, *obj, "change0", ap);
}

int VNStampSet0(int id, int x, int y, VNRes_Color color, const char* pattern) try {
    return change(__func__, id, x, y, color & 0xffffff, pattern);
}
VN_END

int VNStampSet11(int id, int x, int y, unsigned int color, const char* pattern) try {
    return change(__func__, id, x, y, color, pattern);
}
VN_END

int VNStampBgColorSet1(int id, unsigned int color) try {
    object* obj = nullptr;
    if (const int failed = find(__func__, id, obj)) return failed;
    AttrSet ap;
    ap.Add("bgcolor", color & 0xffffff);
    ap.Add("alpha", color >> 24);
    return set(__func__, *obj, "bgcolor", ap);
}
VN_END

int VNStampEnable0(int id, int enable) try {
    object* obj = nullptr;
    if (const int failed = find(__func__, id, obj)) return failed;
    AttrSet ap;
    ap.Add("draw", enable != 0);
    return set(__func__, *obj, "draw0", ap);
}
VN_END

/** Calls `function`, which must not throw, for the library's own stamp, and acquires the stamp on first use.
 */
template <class... Parameters, class... Arguments>
static int forward(const char* caller, int (*function)(int, Parameters...), Arguments... arguments) {
    VN_FAIL_IF_OF(caller, !_stamp && VNAcquire(VNRES_STAMP, &_stamp) != VNRES_SUCCEED,
                  "VNAcquire(VNRES_STAMP,&_stamp)!=VNRES_SUCCEED", VNRES_FAIL);
    VN_FAIL_IF_OF(caller, !_stamp, "!_stamp", VNRES_FAIL);
    return function(_stamp, arguments...);
}

int VNStampInit(int w, int h, const char* font) {
    VN_FAIL_IF(_stamp, VNRES_FAIL, ",stamp is inited!");
    return forward(__func__, VNStampInit0, w, h, font);
}

int VNStampSet(int x, int y, VNRes_Color color, const char* pattern) {
    return forward(__func__, VNStampSet0, x, y, color, pattern);
}

int VNStampSet1(int x, int y, unsigned int color, const char* pattern) {
    return forward(__func__, VNStampSet11, x, y, color, pattern);
}

int VNStampBgColorSet(unsigned int color) {
    return forward(__func__, VNStampBgColorSet1, color);
}

int VNStampEnable(int enable) {
    return forward(__func__, VNStampEnable0, enable);
}
