#ifndef VORNISA_TESTS_FIFO_CALLS_H
#define VORNISA_TESTS_FIFO_CALLS_H

#include <string>
#include <vector>

namespace scripted {

/** Calls of FifoBuffer by the plug-in while it lives, each with what is not seen in its effect. */
class FifoCalls {
  public:
    FifoCalls();
    ~FifoCalls();
    FifoCalls(const FifoCalls&) = delete;
    FifoCalls& operator=(const FifoCalls&) = delete;

    const std::vector<std::string>& all() const;
};

}  // namespace scripted

#endif
