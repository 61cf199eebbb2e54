#ifndef VORNISA_RUNNING_MICROPHONE_H
#define VORNISA_RUNNING_MICROPHONE_H

#include <gtest/gtest.h>

#include "vornisa_api.h"

/**
 * Keeps the microphone running, and waits for its first samples. A busy machine starts it late, and a
 * recording gets no audio track in its first file if the audio is not there in time.
 */
class RunningMicrophone {
  public:
    RunningMicrophone() {
        EXPECT_EQ(VNAcquire(VNRES_PCM_SOURCE, &id_), VNRES_SUCCEED);
        EXPECT_EQ(VNSetAudio(id_, 48000, 2), VNRES_SUCCEED);
        EXPECT_EQ(VNStart(id_), VNRES_SUCCEED);
        char heard[4];
        int length = 0;
        EXPECT_EQ(VNReadPcm(id_, heard, sizeof heard, &length), VNRES_SUCCEED);
    }
    ~RunningMicrophone() {
        VNStop(id_);
        VNRelease(id_);
    }
    RunningMicrophone(const RunningMicrophone&) = delete;
    RunningMicrophone& operator=(const RunningMicrophone&) = delete;

  private:
    int id_ = 0;
};

#endif
