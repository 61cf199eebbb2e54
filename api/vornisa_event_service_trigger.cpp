/** A clip around an event, recorded by the event service. */
#include <string>

#include "vornisa_check.h"
#include "vornisa_event.h"
#include "vornisa_text.h"

VN_LOG_SINK(standardOutput);

int VNRecordEventServiceTrigger(int id, const char* url, int pre, int post) try {
    VN_FAIL_IF(!id, VNRES_INVALID_ARG);
    const std::int64_t tp = vornisa::eventTime();
    const std::string target = url ? url : vornisa::createFileName<VnLog>(__LINE__);
    const std::string trigger =
        vornisa::compose("trigger={pre=#s,post=#s,tp=#ms,url=#}", {pre, post, tp, target});
    return VNSetParams(id, trigger.c_str());
}
VN_END
