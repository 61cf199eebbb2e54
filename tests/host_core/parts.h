#ifndef KEP_TESTS_PARTS_H
#define KEP_TESTS_PARTS_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "objects/object_impl.h"

/** The state changes of all Parts, in order: "name up play" and the like. */
extern std::vector<std::string> partEvents;
/** The number of Parts that exist. */
extern int partsAlive;

/** Registered for tests as `TestPart`, and as `TestFound`, whose objects are found by name. The constructor
 * of a third class, `TestThrower`, throws. */
class Part : public kep::host::ObjectImpl {
  public:
    Part();
    ~Part() override;

    int rate = 0;
    std::int64_t position = 0;
    std::uint16_t port = 0;
    bool loud = false;
    std::string title;
    std::function<int(int)> call;
    std::string refuses; /**< "play" refuses that state on the way up, "down ready" on the way down */

    /** Sends a message as an element does. */
    bool send(const char* text);

  protected:
    bool up(kep::State target) override;
    bool down(kep::State target) override;
};

#endif
