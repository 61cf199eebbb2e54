#ifndef RECORDINGS_FILE_NAMES_H
#define RECORDINGS_FILE_NAMES_H

#include <string>

#include "recordings/wall_time.h"

namespace recordings {

/**
 * File names for consecutive recordings. strftime fields in the file name, not in its folder, are expanded
 * with local time. A name in use gets a running number before its extension: `a.mp4`, `a-1.mp4`.
 */
class FileNames {
  public:
    /** @param openExtension extension of unfinished files, which also occupy their final name */
    FileNames(std::string path, std::string openExtension);

    /** The next free name, for a recording whose first frame was captured at `first`. */
    std::string next(SteadyTime first);
    /** Marks the last name as used: it is not returned again, even when its file has been deleted. */
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
