/** AAC encoding and decoding of blocks in memory. */
#include <atomic>

#include "kep/object.h"
#include "kep/typed_param.h"
#include "vornisa_check.h"
#include "vornisa_handle.h"

using kep::base::SetInteger;
using kep::base::SetTyped;

VN_LOG_SINK(debugStreams);

namespace {

/** Takes the lengths of the buffers, and sets them to the bytes consumed and the bytes written. */
typedef bool (*CodecFunction)(kep::object_base* codec, const void* in, int& in_len, void* out, int& out_len);

/** One direction of the codec. */
struct Direction {
    const char* caller;
    const char* parameter;
    const char* notPublished;
    const char* publishedAsNull;
    /** Found at the first use and kept: it belongs to the codec's class and serves every codec. */
    std::atomic<CodecFunction> function;
};

Direction _enc = {"VNAacEncode", "funcEncodeStatic", "!obj0->Get(\"funcEncodeStatic\",_enc)", "!_enc", {}};
Direction _dec = {"VNAacDecode", "funcDecodeStatic", "!obj0->Get(\"funcDecodeStatic\",_dec)", "!_dec", {}};

int convert(Direction& direction, int id, const void* in, int in_len, int* consumed, void* out, int out_len) {
    VN_FAIL_IF_OF(direction.caller, !id, "!id", VNRES_INVALID_ARG);
    kep::object_base* codec = vornisa::objectOf(id);
    CodecFunction function = direction.function.load(std::memory_order_relaxed);
    if (!function) {
        kep::base::object* obj0 = dynamic_cast<kep::base::object*>(codec);
        VN_FAIL_IF_OF(direction.caller, !obj0, "!obj0", VNRES_INVALID_ARG);
        VN_FAIL_IF_OF(direction.caller, !kep::base::GetTyped(*obj0, direction.parameter, function),
                      direction.notPublished, VNRES_INVALID_ARG);
        VN_FAIL_IF_OF(direction.caller, !function, direction.publishedAsNull, VNRES_INVALID_ARG);
        direction.function.store(function, std::memory_order_relaxed);
    }
    VN_FAIL_IF_OF(direction.caller, !codec, "!obj0", VNRES_INVALID_ARG);
    const bool rst = function(codec, in, in_len, out, out_len);
    VN_FAIL_IF_OF(direction.caller, !rst, "!rst", VNRES_UNSUPPORTED);
    if (consumed) *consumed = in_len;
    return out_len;
}

}  // namespace

int VNAacCodecSet(int id, int rate, int ch, int hasAdts, int bitrate, int bandWidth) try {
    VN_FAIL_IF(!id, VNRES_INVALID_ARG);
    kep::base::object* codec = vornisa::objectAs<kep::base::object>(id);
    VN_FAIL_IF(!codec, VNRES_INVALID_ARG);
    VN_FAIL_IF_SAYING(!SetInteger(*codec, "rate", rate), "!codec->Set(\"rate\",rate)", VNRES_INVALID_ARG);
    VN_FAIL_IF_SAYING(!SetInteger(*codec, "ch", ch), "!codec->Set(\"ch\",ch)", VNRES_INVALID_ARG);
    VN_FAIL_IF_SAYING(!SetTyped(*codec, "adts", hasAdts != 0), "!codec->Set(\"adts\",(bool)hasAdts)",
                      VNRES_INVALID_ARG);
    VN_FAIL_IF_SAYING(!SetInteger(*codec, "br", bitrate), "!codec->Set(\"br\",bitrate)", VNRES_INVALID_ARG);
    VN_FAIL_IF_SAYING(!SetInteger(*codec, "bw", bandWidth), "!codec->Set(\"bw\",bandWidth)",
                      VNRES_INVALID_ARG);
    return VNRES_SUCCEED;
}
VN_END

int VNAacEncode(int id, const void* in, int in_len, int* consumed, void* out, int out_len) try {
    return convert(_enc, id, in, in_len, consumed, out, out_len);
}
VN_END

int VNAacDecode(int id, const void* in, int in_len, int* consumed, void* out, int out_len) try {
    return convert(_dec, id, in, in_len, consumed, out, out_len);
}
VN_END
