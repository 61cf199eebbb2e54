#include <string>
#include <utility>
#include <vector>

#include "command.h"
#include "film.h"
#include "options.h"
#include "player.h"

namespace vncam {
namespace {

constexpr Usage kWatchUsage{
    "watch", "", "Shows the live picture in a window, with its sound.",
    "Plays through ffplay or mpv, one of which must be installed. Close the window or press Ctrl-C to end.\n"
    "With sound, on a terminal, the keys + and - change the volume of the microphone, m mutes it."};

}  // namespace

int runWatch(int argc, char** argv) {
    FilmSettings settings;
    std::string name;
    bool hasAudio = true;
    std::vector<Option> options = {
        {"player", "NAME", Player::known() + ", or the path of one (the first one installed)",
         [&](const std::string& text) {
             if (text.empty()) throw UsageError("--player needs a name");
             name = text;
         }},
        {"no-audio", nullptr, "show the picture without sound",
         [&](const std::string&) { hasAudio = false; }},
    };
    for (Option& option : filmOptions(settings)) options.push_back(std::move(option));
    std::vector<std::string> operands;
    if (!parseOptions(argc, argv, kWatchUsage, options, operands)) return exitOk;
    if (!operands.empty()) throw UsageError("unexpected argument '" + operands.front() + "'");

    Player player(name);
    bool isWhole = false;
    {
        Film film("watch", settings, joinedSinks(player.start(), StreamFormat::mpegTs, settings, hasAudio));
        isWhole = film.run();
        if (isWhole && !settings.quiet) film.summarize();
    }
    player.finish();
    return exitOk;
}

}  // namespace vncam
