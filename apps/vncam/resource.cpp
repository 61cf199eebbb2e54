#include "resource.h"

#include "command.h"

namespace vncam {
namespace {

struct ResultRow {
    int result;
    const char* name;
    const char* meaning;
};

constexpr ResultRow kResults[] = {
    {VNRES_SUCCEED, "VNRES_SUCCEED", "done"},
    {VNRES_FAIL, "VNRES_FAIL", "the framework refused the call or failed"},
    {VNRES_WRONG_DEVICE, "VNRES_WRONG_DEVICE", "wrong kind of resource"},
    {VNRES_UNSUPPORTED, "VNRES_UNSUPPORTED", "the resource does not support the call"},
    {VNRES_BUFFER_ERROR, "VNRES_BUFFER_ERROR", "an internal buffer refused the data"},
    {VNRES_BUF_TOO_SMALL, "VNRES_BUF_TOO_SMALL", "the frame is larger than the buffer"},
    {VNRES_PUSH_FAIL, "VNRES_PUSH_FAIL", "the device refused the data"},
    {VNRES_INVALID_ARG, "VNRES_INVALID_ARG", "an argument, or a step of the call, was refused"},
};

}  // namespace

std::string resultText(int result) {
    for (const ResultRow& row : kResults)
        if (row.result == result)
            return std::string(row.meaning) + " (" + row.name + ", " + std::to_string(result) + ")";
    return "result " + std::to_string(result);
}

void check(int result, const std::string& call) {
    if (result != VNRES_SUCCEED) throw Failure(call + ": " + resultText(result));
}

Resource::Resource(VNRes_Type type) {
    check(VNAcquire(type, &id_), "VNAcquire(" + std::to_string(type) + ")");
}

Resource::~Resource() {
    VNStop(id_);
    VNRelease(id_);
}

void Resource::start() const {
    check(VNStart(id_), "VNStart");
}

void Resource::stop() const {
    check(VNStop(id_), "VNStop");
}

}  // namespace vncam
