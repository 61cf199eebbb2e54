/** Mirroring of the picture. */
#include "vornisa_command.h"

using kep::base::AttrSet;

VN_LOG_SINK(debugStreams);

// The steps of VNTurnVideo. Their error lines name these functions.

static int VNVideoVFlip(bool vflip) {
    AttrSet ap;
    ap.Add("cmd", "cdspUpdate");
    ap.Add("vflip", vflip);
    ap.Add("yuvid", -1);
    return vornisa::sendCommand<VnLog>(__LINE__, __func__, ap);
}

static int VNVideoHFlip(bool hflip) {
    AttrSet ap;
    ap.Add("cmd", "hflipUpdate");
    ap.Add("hflip", hflip);
    return vornisa::sendCommand<VnLog>(__LINE__, __func__, ap);
}

static int VNVideoMDFlip(bool hflip, bool vflip) {
    AttrSet ap;
    ap.Add("cmd", "mdflipUpdate");
    ap.Add("hflip", hflip);
    ap.Add("vflip", vflip);
    return vornisa::sendCommand<VnLog>(__LINE__, __func__, ap);
}

int VNTurnVideo(int mode) try {
    if (static_cast<unsigned>(mode) > 3) return VNRES_UNSUPPORTED;
    const bool hflip = mode & 1;
    const bool vflip = mode & 2;
    int result = VNVideoVFlip(vflip);
    if (result == VNRES_SUCCEED) result = VNVideoHFlip(hflip);
    if (result == VNRES_SUCCEED) result = VNVideoMDFlip(hflip, vflip);
    return result;
}
VN_END
