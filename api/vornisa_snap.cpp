/** Still pictures. */
#include <memory>
#include <string>

#include "kep/streaming.h"
#include "vornisa_check.h"
#include "vornisa_handle.h"
#include "vornisa_text.h"

using kep::State;
using kep::api::streaming::IPhotography;

VN_LOG_SINK(debugStreams);

static std::string urlOf(const char* fname) {
    return vornisa::compose("file://#", {fname});
}

int VNTakePic2(int id, const char* fname) try {
    VN_FAIL_IF(!fname, VNRES_INVALID_ARG);
    VN_FAIL_IF(!id, VNRES_INVALID_ARG);
    IPhotography* const snap = vornisa::objectAs<IPhotography>(id);
    VN_FAIL_IF(!snap, VNRES_INVALID_ARG);
    if (snap->CurrentState() != State::play) VN_FAIL_IF(!snap->ChangeUp(State::play), VNRES_FAIL);
    const std::string url = urlOf(fname);
    VN_FAIL_IF_SAYING(!snap->Snap(url.c_str(), true), "!snap->Snap(url.c_str(),true)", VNRES_FAIL,
                      "snap one frame fail!");
    return VNRES_SUCCEED;
}
VN_END

int VNTakePic(const char* fname, int width, int height) try {
    const std::unique_ptr<IPhotography> snap(IPhotography::CreateNew("vornisa"));
    // Camera logs are searched for this spelling.
    VN_FAIL_IF(!snap, VNRES_WRONG_DEVICE, "unsupported PIV for vorrnisa.");
    snap->SetSourceIndex(0);
    snap->SetWidth(width);
    snap->SetHeight(height);
    snap->SetQuality(80);
    snap->SetUrl(urlOf(fname).c_str());
    VN_FAIL_IF(!snap->ChangeUp(State::play), VNRES_FAIL);
    VN_FAIL_IF(!snap->Snap(true), VNRES_FAIL, "snap one frame fail!");
    VN_FAIL_IF(!snap->ChangeDown(State::null), VNRES_FAIL);
    return VNRES_SUCCEED;
}
VN_END
