#ifndef VNCAM_INBOX_H
#define VNCAM_INBOX_H

#include <chrono>
#include <optional>
#include <string>

namespace vncam {

/** Queue of the messages of one resource. */
class Inbox {
  public:
    /** Subscribes to the messages of a resource; throws Failure when it has none. */
    explicit Inbox(int id);

    /** The next message; nothing when none arrives within the limit. */
    std::optional<std::string> next(std::chrono::milliseconds limit);
};

}  // namespace vncam

#endif
