#ifndef KEP_TESTS_PARTS_H
#define KEP_TESTS_PARTS_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "objects/object_impl.h"

/** What the objects of class `TestPart` have done, in order: "name up play" and the like. */
extern std::vector<std::string> partEvents;
/** How many of them live. */
extern int partsAlive;

/** A class of the registry for tests: `TestPart` by scope, `TestFound` by its name, `TestThrower` throws.
 */
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
    std::string refuses; /**< the state it does not go up or down to */

    /** Sends a message as an element does. */
    bool send(const char* text);

  protected:
    bool up(kep::State target) override;
    bool down(kep::State target) override;
};

#endif
