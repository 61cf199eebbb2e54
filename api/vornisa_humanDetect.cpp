/** Detection of people. */
#include <string>

#include "kep/reflect.h"
#include "vornisa_check.h"
#include "vornisa_text.h"

using kep::base::object;

VN_LOG_SINK(debugStreams);

int VNHumanDetect(int width, int height, int fps) try {
    VN_FAIL_IF(!width, VNRES_INVALID_ARG);
    VN_FAIL_IF(!height, VNRES_INVALID_ARG);
    VN_FAIL_IF(!fps, VNRES_INVALID_ARG);
    VN_LOG(information, "width=" << width);
    VN_LOG(information, "height=" << height);
    VN_LOG(information, "fps=" << fps);
    const std::string text = vornisa::compose(
        "type=ShmService,index=1,name=humanShmService,partner={type=Application,name=app-humandetect,"
        "layout={type=Pipeline,name=pl-human-detect,layout={"
        "PvYuvSrcAdv:w=#,h=#+FrameRateCtrl:fr=#+HumanDetect:name=humandetection+FakeSink:live=false}}}",
        {width, height, fps});
    VN_LOG(information, text.c_str());
    // The framework owns it from here on: it runs until the process ends.
    object* obj = kep::base::Object::New<object>(text.c_str());
    VN_FAIL_IF(!obj, VNRES_FAIL);
    VN_FAIL_IF_SAYING(!obj->SetStr("status", "play"), "!obj->Set(\"status\",\"play\")", VNRES_FAIL);
    return VNRES_SUCCEED;
}
VN_END
