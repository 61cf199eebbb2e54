#ifndef VNCAM_MESSAGE_H
#define VNCAM_MESSAGE_H

#include <chrono>
#include <optional>
#include <string>

namespace vncam {

/** The value of `key` in a message such as "name=frameLost,lost=2"; empty when there is none. */
std::string messageValue(const std::string& message, const std::string& key);

/** Queue of the messages of one resource; four may exist at a time. */
class Inbox {
  public:
    /** Subscribes to the messages of a resource; throws Failure when it sends none. */
    explicit Inbox(int id);
    ~Inbox();
    Inbox(const Inbox&) = delete;
    Inbox& operator=(const Inbox&) = delete;

    /** The next message; nothing when none arrives within the limit. */
    std::optional<std::string> next(std::chrono::milliseconds limit);

  private:
    const std::size_t slot_;
};

}  // namespace vncam

#endif
