/** Sound of the microphone in blocks of the caller's size. */
#include <memory>

#include "kep/fifo_buffer.h"
#include "kep/streaming.h"
#include "vornisa_check.h"
#include "vornisa_output.h"
#include "vornisa_registry.h"

using kep::api::streaming::common::frame_t;
using kep::api::streaming::common::IStreamOutput;
using kep::base::FifoBuffer;

VN_LOG_SINK(debugStreams);

/** The store of a handle, created on first use; also for a handle that then proves unusable. */
static FifoBuffer* storeOf(int id) {
    kep::object_base*& companion = _vornisa_maps[id];
    if (!companion) companion = new FifoBuffer("pcmsrc", 131072, nullptr, nullptr);
    return static_cast<FifoBuffer*>(companion);
}

int VNReadPcm(int id, void* buf, int buf_size, int* len) try {
    VN_FAIL_IF(!id, VNRES_INVALID_ARG);
    FifoBuffer* buff = storeOf(id);
    VN_FAIL_IF_SAYING(buf_size > buff->Max(), "buf_size>buff->Max()", VNRES_INVALID_ARG, ",", buf_size, ">",
                      buff->Max());
    int copied = buff->Pop(buf, buf_size, true);
    if (copied == 0) {
        IStreamOutput* output = vornisa::outputOf(id);
        VN_FAIL_IF(!output, VNRES_WRONG_DEVICE, ",", id, ":this dev can not output frame!");
        VN_FAIL_IF(!output->IsSupportedPullFrame(), VNRES_UNSUPPORTED, ",", id,
                   ":this dev is not supported pull frame!");
        do {
            std::shared_ptr<frame_t> frm;
            VN_FAIL_IF_SAYING(!output->PullFrame(frm, true) || !frm, "!output->PullFrame(frm)", VNRES_FAIL,
                              ",", id, ":pull frame fail!");
            VN_FAIL_IF_SAYING(buff->Max() - buff->Size() < frm->size,
                              "buff->Max() - buff->Size() < frm->size", VNRES_BUF_TOO_SMALL, ",", id,
                              "buf size is not enough.", buff->Max(), ",", buff->Size(), "+", frm->size);
            VN_FAIL_IF_SAYING(!buff->Push(frm->data, frm->size, true),
                              "!buff->Push((uint8 *) frm->data, frm->size, true)", VNRES_BUFFER_ERROR);
            copied = buff->Pop(buf, buf_size, true);
        } while (copied == 0);
    }
    // A short block is not a failure and is not filled up from the next frame: the line is only a warning.
    if (copied != buf_size) VN_LOG(error, "len!=buf_size," << copied << "<>" << buf_size);
    if (len) *len = copied;
    return VNRES_SUCCEED;
}
VN_END
