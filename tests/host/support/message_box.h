#ifndef VORNISA_MESSAGE_BOX_H
#define VORNISA_MESSAGE_BOX_H

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

/** Keeps messages, put there by whatever thread they come on. */
class MessageBox {
  public:
    void put(const std::string& text);

    /** Waits for a message that begins so and has `part` in it, and returns it whole, the last one if there
     * are several; empty when none has come in time. */
    std::string waitFor(const std::string& beginning, const std::string& part = "");
    /** The messages so far that begin so. */
    std::vector<std::string> all(const std::string& beginning = "");

  private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::vector<std::string> texts_;
};

#endif
