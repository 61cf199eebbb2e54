#ifndef VORNISA_MESSAGE_BOX_H
#define VORNISA_MESSAGE_BOX_H

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

/** Collects messages from any thread. */
class MessageBox {
  public:
    void put(const std::string& text);

    /**
     * Waits for a message that starts with `beginning` and contains `part`; returns the last match, or an
     * empty string on timeout.
     */
    std::string waitFor(const std::string& beginning, const std::string& part = "");
    /** All messages so far that start with `beginning`. */
    std::vector<std::string> all(const std::string& beginning = "");

  private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::vector<std::string> texts_;
};

#endif
