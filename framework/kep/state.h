#ifndef KEP_STATE_H
#define KEP_STATE_H

namespace kep {

/** States of framework objects, in rising order. As property texts: "null", "ready", "play". */
enum class State : int { null = 1, ready = 2, play = 4 };

}  // namespace kep

#endif
