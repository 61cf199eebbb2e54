#ifndef VNCAM_FILM_H
#define VNCAM_FILM_H

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "options.h"
#include "stream_muxer.h"
#include "track.h"
#include "values.h"

namespace vncam {

class SoundDevice;

/** What a live film is like, whatever becomes of it. */
struct FilmSettings {
    Size size{1920, 1080};
    std::deque<SizeSwitch> switches; /**< in the order of their seconds */
    int fps = 30;
    int bps = 2000000;
    int gop = 30;
    int rate = 48000;
    int channels = 1;
    int audioBps = 64000;
    double seconds = 0; /**< 0: no end */
    bool quiet = false;
};

/** The options for these settings but the switches; `settings` outlives them. */
std::vector<Option> filmOptions(FilmSettings& settings);

/** Sinks for both streams of a film, or for its pictures alone, in one output. */
StreamSinks joinedSinks(std::unique_ptr<Output> output, StreamFormat format, const FilmSettings& settings,
                        bool hasAudio);

/** A live film on its way to its sinks. */
class Film {
  public:
    /** Starts it; throws Failure when a source is refused. @param command reports in its name */
    Film(const char* command, const FilmSettings& settings, StreamSinks sinks);

    /**
     * Waits until it has ended, by its length, a stop or a failure, shows its progress and closes the sinks.
     * Throws the first failure. False when the reader of a pipe closed it.
     */
    bool run();
    /** Reports what has been written. */
    void summarize() const;

  private:
    void awaitEnd();
    bool finish();
    std::string progressText(const SoundDevice* microphone) const;

    const char* const command_;
    const FilmSettings settings_;
    std::vector<std::unique_ptr<Track>> tracks_;
    bool hasAudio_;
};

}  // namespace vncam

#endif
