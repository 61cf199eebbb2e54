#ifndef VNCAM_PLAYER_H
#define VNCAM_PLAYER_H

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "output.h"

namespace vncam {

/** An external program that shows a live MPEG-TS stream in a window. */
class Player {
  public:
    /** The supported players, as text: "ffplay or mpv". */
    static std::string known();

    /**
     * Finds a player. Throws UsageError when it is not supported, Failure when it is not installed.
     *
     * @param name of a supported player, or the path of one; empty for the first one installed
     */
    explicit Player(const std::string& name);
    /** Ends the player if it still runs. */
    ~Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    /** Starts the player and returns its standard input. Throws Failure. */
    std::unique_ptr<Output> start();
    /**
     * Waits until the player exits, at the end of its input or when its window is closed; a stop request ends
     * it. Throws Failure, quoting its last output, when it failed.
     */
    void finish();

  private:
    struct Kind;
    static const Kind kKinds[];

    /** Its status if it exits within `limit`. */
    std::optional<int> ended(std::chrono::milliseconds limit);
    void end();
    std::string lastOutput() const;

    const Kind* kind_ = nullptr;
    std::string path_;
    int printed_ = -1;   /**< anonymous file with its output, which would disturb the terminal */
    pid_t process_ = -1; /**< -1 before start() and once waited for */
};

}  // namespace vncam

#endif
