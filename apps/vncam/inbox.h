#ifndef VNCAM_INBOX_H
#define VNCAM_INBOX_H

#include <chrono>
#include <optional>
#include <string>

namespace vncam {

/** The messages of one resource, to be read one after the other. */
class Inbox {
  public:
    /** Has the messages of a resource come here; throws Failure when it has none. */
    explicit Inbox(int id);

    /** The next message, waited for as long; nothing when none has come. */
    std::optional<std::string> next(std::chrono::milliseconds limit);
};

}  // namespace vncam

#endif
