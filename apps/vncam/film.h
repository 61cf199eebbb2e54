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

/** Settings of a live film, whatever its output is. */
struct FilmSettings {
    Size size{1920, 1080};
    std::deque<SizeSwitch> switches; /**< in ascending order of seconds */
    int fps = 30;
    int bps = 2000000;
    int gop = 30;
    int rate = 48000;
    int channels = 1;
    int audioBps = 64000;
    double seconds = 0; /**< 0: no end */
    bool quiet = false;
};

/** The options for all of these settings but `switches`; `settings` must outlive them. */
std::vector<Option> filmOptions(FilmSettings& settings);

/** Sinks that join both streams of a film, or write its video alone, in one output. */
StreamSinks joinedSinks(std::unique_ptr<Output> output, StreamFormat format, const FilmSettings& settings,
                        bool hasAudio);

/** Reads the streams of a live film and writes them to sinks. */
class Film {
  public:
    /** Starts filming; throws Failure when a source is refused. @param command named in reports */
    Film(const char* command, const FilmSettings& settings, StreamSinks sinks);

    /**
     * Shows the progress until the film ends, by its length, a stop request or a failure, and closes the
     * sinks. Throws the first failure. Returns false when the reader of a pipe closed it.
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
