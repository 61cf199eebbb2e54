#ifndef VNCAM_RECOVERED_FILE_H
#define VNCAM_RECOVERED_FILE_H

#include <string>

#include "recordings/recovery.h"

namespace vncam {

/** What `vncam recover` did with a file, or with --dry-run would do. */
struct RecoveredFile {
    enum class Kind {
        recording, /**< see `recovery` */
        removed,   /**< a temporary file of a process that has ended */
        failed,    /**< see `error` */
    };
    Kind kind;
    std::string file;
    recordings::Recovery recovery{};
    std::string error{};
};

/** For people: a line, and one for each damage. */
std::string textOf(const RecoveredFile& file, bool planned);

/** For programs: an object of JSON. */
std::string jsonOf(const RecoveredFile& file);

}  // namespace vncam

#endif
