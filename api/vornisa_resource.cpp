#include "vornisa_resource.h"

#include "kep/entry_points.h"
#include "kep/streaming.h"
#include "vornisa_api.h"
#include "vornisa_pre_record.h"

namespace vornisa {
namespace {

using namespace kep::api::streaming;

template <class Stream>
kep::object_base* createNew(const char* device) {
    return Stream::CreateNew(device);
}

const char device[] = "vornisa";

const Resource resources[] = {
    {VNRES_REC_MAN, kepCreate, "type=Application,name=appVornisaRecMan,noconfigure=true"},
    {VNRES_YUV_SOURCE, createNew<IYuvSource>, device},
    {VNRES_H264_SOURCE, createNew<IH264Source>, device},
    {VNRES_PCM_SOURCE, createNew<IPcmSource>, device},
    {VNRES_AAC_SOURCE, createNew<IAacSource>, device},
    {VNRES_PCM_PLAYER, createNew<IPcmPlayer>, device},
    {VNRES_AAC_ENCODER, kepCreate, "type=AacCodec,name=aacEncoder,isEncoder=true"},
    {VNRES_AAC_DECODER, kepCreate, "type=AacCodec,name=aacDecoder,isEncoder=false"},
    {VNRES_QRCODE, kepCreate,
     "type=ShmService,index=1,partner={type=Application,name=appQrCode,layout={type=Pipeline,name=plQrCode,"
     "layout={PvYuvSrcAdv:w=640,h=360+FrameRateCtrl:fr=1+ZBarSink:dbg=false}}}"},
    {VNRES_PHOTOGRAPHY, createNew<IPhotography>, device},
    {VNRES_EVENT_SERVICE, kepCreate,
     "type=Application,layout={type=pipeline,layout={" VN_PRE_RECORD_SOURCES
     "+RecordEventServiceTriggerShm:name=ctrl,delApp=false,dbg=false,"
     "shmCreater={type=VornisaSharedMemory,name=shm,free=true}+"
     "muxer-fmp4:name=muxer,dbg=false}},name=appRecordEventService"},
    {VNRES_SHARED_MEMORY, kepCreate, "type=VornisaSharedMemory,name=shm,free=false"},
    {VNRES_STAMP, kepCreate, "type=StampParam,name=stampparam,ShmMax=16,ShmIdx=0,ShmName=vornisa_shm_stamp"},
    {VNRES_DEMUX, kepCreate,
     "type=Application,layout={type=Pipeline,layout={Mp4Demuxer:name=demux+"
     "H264SpsPpsAdd:name=spsppsAdd,caps=video+FuncSink:name=vsink,caps=video,link=spsppsAdd+"
     "FuncSink:name=asink,caps=audio,link=demux}}"},
    {VNRES_HUMAN_SHM, kepCreate, "type=ShmService,index=1,name=humanShmService,noconfigure=true"},
};

}  // namespace

const Resource* findResource(int type) {
    for (const Resource& resource : resources)
        if (resource.type == type) return &resource;
    return nullptr;
}

}  // namespace vornisa
