#ifndef VORNISA_PRE_RECORD_H
#define VORNISA_PRE_RECORD_H

/** Elements of a description: audio and video of the pre-recording pipelines, synchronised. */
#define VN_PRE_RECORD_SOURCES                                           \
    "ShmSource:connect={type=pipeline,name=plPreRecordAac},name=asrc+"  \
    "FifoFilter:name=afifo,max=8+"                                      \
    "ShmSource:connect={type=pipeline,name=plPreRecordH264},name=vsrc," \
    "link=null+FifoFilter:name=vfifo,max=8+"                            \
    "Sync:name=sync,link={afifo,vfifo}"

#endif
