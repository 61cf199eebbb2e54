/** Anti-flicker: exposure without the flicker of artificial light. */
#include "vornisa_command.h"

VN_LOG_SINK(debugStreams);

/** The error line names this function. */
static int VNFlick(bool enable) {
    kep::base::AttrSet ap;
    ap.Add("cmd", "aeflick");
    ap.Add("aeflick", enable);
    return vornisa::sendCommand<VnLog>(__LINE__, __func__, ap);
}

int VNAeFlick(int enable) try { return VNFlick(enable != 0); }
VN_END
