#ifndef KEP_HOST_STATE_TEXT_H
#define KEP_HOST_STATE_TEXT_H

#include <optional>

#include "kep/hash.h"
#include "kep/state.h"

namespace kep::host {

constexpr State kStates[] = {State::null, State::ready, State::play};

inline const char* toText(State state) {
    switch (state) {
        case State::null:
            return "null";
        case State::ready:
            return "ready";
        case State::play:
            return "play";
    }
    return "";
}

/** The state with this name, compared without case. */
inline std::optional<State> toState(const char* text) {
    for (const State state : kStates) {
        if (Hash(text) == Hash(toText(state))) return state;
    }
    return std::nullopt;
}

inline State above(State state) {
    return state == State::null ? State::ready : State::play;
}
inline State below(State state) {
    return state == State::play ? State::ready : State::null;
}

}  // namespace kep::host

#endif
