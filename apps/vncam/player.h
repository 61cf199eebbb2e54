#ifndef VNCAM_PLAYER_H
#define VNCAM_PLAYER_H

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "output.h"

namespace vncam {

/** Another program, which shows an MPEG-TS stream in a window as it comes. */
class Player {
  public:
    /** The players whose options are known, as a text: "ffplay or mpv". */
    static std::string known();

    /**
     * Finds a player.
     *
     * @param name of a known player, or a path of one; empty for the first that is installed
     * Throws UsageError when it is not a known one, Failure when it is not installed.
     */
    explicit Player(const std::string& name);
    /** Ends it if it still runs. */
    ~Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    /** Starts it and returns its standard input. Throws Failure. */
    std::unique_ptr<Output> start();
    /**
     * Waits until it has ended, which it does after the end of its input or when its window is closed. A stop
     * that is asked for ends it. Throws Failure, with what it printed last, when it failed.
     */
    void finish();

  private:
    struct Kind;
    static const Kind kKinds[];

    /** Its status once it has ended within `limit`. */
    std::optional<int> ended(std::chrono::milliseconds limit);
    void end();
    std::string lastWords() const;

    const Kind* kind_ = nullptr;
    std::string path_;
    int printed_ = -1;   /**< what it prints: a file without a name, as it would spoil the terminal */
    pid_t process_ = -1; /**< while it has not been waited for */
};

}  // namespace vncam

#endif
