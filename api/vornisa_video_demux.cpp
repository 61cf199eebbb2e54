/** Duration of a recorded file. */
#include "kep/entry_points.h"
#include "vornisa_check.h"
#include "vornisa_text.h"

VN_LOG_SINK(debugStreams);

int VNGetFMp4Duration(const char* filename, int64_t* durms) try {
    VN_FAIL_IF(!filename, VNRES_INVALID_ARG);
    VN_FAIL_IF(!durms, VNRES_INVALID_ARG);
    kep::object_base* obj =
        kepCreate(vornisa::compose("type=fmp4-info,name=fmp4info,url=file://#", {filename}).c_str());
    VN_FAIL_IF(!obj, VNRES_FAIL);
    *durms = kepAttrGetInt(obj, "duration");
    VN_FAIL_IF(!kepDestroy(obj), VNRES_FAIL);
    return VNRES_SUCCEED;
}
VN_END
