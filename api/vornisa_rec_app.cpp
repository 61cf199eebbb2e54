#include "vornisa_rec_app.h"

#include "vornisa_text.h"

namespace vornisa {

std::string describe(const Recording& recording) {
    return compose(
        "type=application,name=appVornisaRecMan,layout={type=pipeline,layout={"
        "ShmSource:connect={type=pipeline,name=plAacSource},name=asrc+FifoFilter:name=afifo,max=64+"
        "ShmSource:connect={type=pipeline,layout={"
        "pv-yuv-src-adv:w=#,h=#+#+encoder-#:goptype=#,gop=#,br=#,fr=#,clock=#+FifoSink:max=2},"
        "name=plPvH264Src#},name=vsrc,link=null+FifoFilter:name=vfifo,max=64+"
        "Sync:name=sync,link={afifo,vfifo}+"
        "VornisaSeamless:name=seamless,duration=#s+"
        "muxer-#:name=muxer,flush=#,url={#,creater=ntp,temp_ext_name=part},"
        "sendmsg={recordStart={oper=AfterOpen,send={upward}},recordStop={oper=AfterClose,send={upward}}},"
        "dbg=#}}",
        {recording.size.width, recording.size.height, recording.rateElement, recording.codec,
         recording.goptype, recording.gop, recording.bitrate, recording.framerate, recording.clock,
         recording.unique, recording.seconds, recording.muxer, recording.flush, recording.url,
         recording.dbg});
}

std::string fileUrl(const char* path, const char* name) {
    return compose("file://#/#", {path, name});
}

}  // namespace vornisa
