#ifndef RECORDINGS_FILE_NAMES_H
#define RECORDINGS_FILE_NAMES_H

#include <string>

#include "recordings/wall_time.h"

namespace recordings {

/**
 * The names of recordings that follow one another. strftime fields in the name, not in its folder, are filled
 * in with local time. A name that is taken gets a running number before its extension: `a.mp4`, `a-1.mp4`.
 */
class FileNames {
  public:
    /** @param openExtension what an unfinished file has behind its name; it takes the name as well */
    FileNames(std::string path, std::string openExtension);

    /** The next free name, for a recording that begins with what was captured at `first`. */
    std::string next(SteadyTime first);
    /** The name that was given last has been used: it is not given again, even when its file has gone. */
    void use() { used_ = true; }
    /** Whether a finished or an unfinished file has this name. */
    bool isTaken(const std::string& path) const;

  private:
    std::string filled(SteadyTime first) const;

    const std::string path_;
    const std::string openExtension_;
    std::string last_; /**< without its number */
    int number_ = 0;
    bool used_ = false;
};

}  // namespace recordings

#endif
