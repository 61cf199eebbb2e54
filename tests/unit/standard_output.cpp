#include "vornisa_check.h"

VN_LOG_SINK(standardOutput);

void writeToStandardOutput(const void* pointer) {
    VN_LOG(information, "url="
                            << "file:///tmp/a.mp4" << ',' << -42 << "," << std::int64_t{1} << pointer);
}

int failToStandardOutput(int id) {
    VN_FAIL_IF(!id, VNRES_INVALID_ARG, ",", id, ":no handle");
    return VNRES_SUCCEED;
}
