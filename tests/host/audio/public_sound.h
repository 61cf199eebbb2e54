#ifndef TESTS_HOST_AUDIO_PUBLIC_SOUND_H
#define TESTS_HOST_AUDIO_PUBLIC_SOUND_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support.h"
#include "vornisa_api.h"

namespace audio_test {

using Samples = std::vector<std::int16_t>;

/** A stream through the public header: started, and released at the end of its scope. */
class Stream {
  public:
    Stream(int resource, int rate, int channels);
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;
    ~Stream() { VNRelease(id_); }
    int id() const { return id_; }

  private:
    int id_ = 0;
};

/** Sound through the public header; restores full volume at the end. */
class PublicSound : public ::testing::Test {
  protected:
    ~PublicSound() override;

    static Stream openPcm(int rate = 48000, int channels = 2) { return {VNRES_PCM_SOURCE, rate, channels}; }
    static Stream openAac(int rate = 48000, int channels = 2) { return {VNRES_AAC_SOURCE, rate, channels}; }
    /** A player into a WAV file. */
    static Stream openPlayer(int rate, int channels, const std::string& path);

    /** The next `count` samples; fewer if the stream ends. */
    static Samples read(const Stream& pcm, std::size_t count);
    /** Reads until a whole block has this value. */
    static bool readUntil(const Stream& pcm, std::int16_t value);
    static void feed(const Stream& player, Samples samples);

    ScopedFolder folder_;
    ErrorLines errors_;
};

}  // namespace audio_test

#endif
