#ifndef VORNISA_TESTS_FIFO_CALLS_H
#define VORNISA_TESTS_FIFO_CALLS_H

#include <string>
#include <vector>

namespace scripted {

/** Records the plug-in's calls of FifoBuffer while it lives, with arguments whose effect is not visible. */
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
