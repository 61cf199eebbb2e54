// The command line: help, version, exit codes and messages about wrong arguments.
#include <regex>

#include "shell.h"

namespace vncam_test {
namespace {

using Cli = Shell;

const std::vector<std::string> kCommands = {"live",    "pcm",    "play", "record",  "event",  "snap",  "aac",
                                            "recover", "volume", "mute", "sources", "info",   "demux", "zone",
                                            "stamp",   "flip",   "qr",   "flicker", "detect", "watch"};

TEST_F(Cli, HelpGoesToStandardOutput) {
    const Result help = run("vncam --help");
    EXPECT_EQ(help.exit, 0);
    EXPECT_EQ(help.err, "");
    for (const std::string& command : kCommands)
        EXPECT_TRUE(std::regex_search(help.out, std::regex("\n  " + command + " "))) << help.out;
}

TEST_F(Cli, EveryCommandHasHelpAndVersion) {
    for (const std::string& command : kCommands) {
        const Result help = run("vncam " + command + " --help");
        EXPECT_EQ(help.exit, 0);
        EXPECT_EQ(help.out.rfind("Usage: vncam " + command, 0), 0u) << help.out;
        EXPECT_EQ(help.err, "");
        EXPECT_EQ(run("vncam " + command + " --version").out, run("vncam --version").out);
    }
}

TEST_F(Cli, HelpIsACommandToo) {
    EXPECT_EQ(run("vncam help").out, run("vncam --help").out);
    EXPECT_EQ(run("vncam help snap").out, run("vncam snap --help").out);
    const Result unknown = run("vncam help fly");
    EXPECT_EQ(unknown.exit, 2);
    EXPECT_EQ(unknown.err, "vncam: unknown command 'fly'\nTry 'vncam --help'.\n");
}

TEST_F(Cli, TheManualPageHasEveryCommandAndOption) {
    const Result page = run(PROJECT_FOLDER "/apps/vncam/man_page $(command -v vncam)");
    ASSERT_EQ(page.exit, 0) << page.err;
    EXPECT_TRUE(page.out.starts_with(".TH VNCAM 1 "));
    const auto expectLine = [&](const std::string& line) {
        EXPECT_NE(page.out.find("\n" + line), std::string::npos) << line;
    };
    for (const std::string& command : kCommands) {
        expectLine(".B " + command + "\n");
        expectLine(".SS vncam " + command + " ");
    }
    for (const char* const option :
         {"\\-\\-switch WxH@S", "\\-o, \\-\\-output FILE", "\\-n, \\-\\-dry\\-run"})
        expectLine(std::string(".TP\n.B ") + option + "\n");
}

TEST_F(Cli, BashCompletesCommandsAndOptions) {
    const auto completed = [this](const std::string& words) {
        return run("source " PROJECT_FOLDER "/apps/vncam/completion.bash; COMP_WORDS=(" + words +
                   "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _vncam; echo ${COMPREPLY[@]}")
            .out;
    };
    EXPECT_EQ(completed("vncam re"), "record recover\n");
    EXPECT_EQ(completed("vncam help f"), "flip flicker\n");
    EXPECT_EQ(completed("vncam snap --"), "--size --output --help --version\n");
    EXPECT_EQ(completed("vncam recover --d"), "--dry-run\n");
    EXPECT_EQ(completed("vncam play fi"), "\n") << "bash completes file names";
    EXPECT_EQ(completed("vncam fly --"), "\n");
}

TEST_F(Cli, LiveHelpNamesEveryOption) {
    const std::string help = run("vncam live --help").out;
    for (const char* option : {"video", "audio", "no-audio", "size", "switch", "fps", "bps", "gop", "rate",
                               "channels", "abps", "seconds", "quiet", "help", "version"})
        EXPECT_NE(help.find(std::string("\n  --") + option + " "), std::string::npos) << option;
}

TEST_F(Cli, VersionHasThreeNumbers) {
    const Result version = run("vncam --version");
    EXPECT_EQ(version.exit, 0);
    EXPECT_TRUE(std::regex_match(version.out, std::regex("vncam [0-9]+\\.[0-9]+\\.[0-9]+\n"))) << version.out;
}

TEST_F(Cli, NoCommandShowsHelpAsAnError) {
    const Result result = run("vncam");
    EXPECT_EQ(result.exit, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err.rfind("Usage: vncam COMMAND", 0), 0u);
}

TEST_F(Cli, AClosedPipeEndsEveryCommandQuietly) {
    for (const std::string command :
         {"help", "sources", "pcm -o - --seconds 0.2", "pcm --raw -o - --seconds 0.2",
          "snap -o - --size 640x360", "live --video - --seconds 0.2 --size 640x360",
          "live --output - --seconds 0.2 --size 640x360"}) {
        const Result ended = run("( trap '' PIPE; while printf x 2>no; do :; done; vncam " + command +
                                 "; echo $? >code ) | : ; cat code");
        EXPECT_EQ(ended.out, "0\n") << command << ": " << ended.err;
        EXPECT_EQ(ended.err.find("terminate"), std::string::npos) << ended.err;
    }
}

TEST_F(Cli, HelpIntoAFullDeviceFails) {
    const Result result = run("vncam --help >/dev/full");
    EXPECT_EQ(result.exit, 1);
    EXPECT_EQ(result.err, "vncam: standard output: cannot write: No space left on device\n");
}

struct WrongLine {
    const char* arguments;
    const char* message; /**< the first line on standard error */
};

class WrongCommandLine : public Shell, public testing::WithParamInterface<WrongLine> {};

TEST_P(WrongCommandLine, IsRefusedWithItsReason) {
    const Result result = run(std::string("vncam ") + GetParam().arguments);
    EXPECT_EQ(result.exit, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err.substr(0, result.err.find('\n')), GetParam().message);
    EXPECT_NE(result.err.find("\nTry 'vncam"), std::string::npos) << "no hint to the help";
}

#define EDGES "width and height are even numbers from 16 to 8192"

INSTANTIATE_TEST_SUITE_P(
    Table, WrongCommandLine,
    testing::Values(
        WrongLine{"fly", "vncam: unknown command 'fly'"}, WrongLine{"--fly", "vncam: unknown option '--fly'"},
        WrongLine{"live --fly", "vncam live: unknown option '--fly'"},
        WrongLine{"live --fly=3", "vncam live: unknown option '--fly'"},
        WrongLine{"live -x", "vncam live: unknown option '-x'"},
        WrongLine{"live --a x", "vncam live: unknown option '--a'"},
        WrongLine{"live --fps", "vncam live: option '--fps' needs a value"},
        WrongLine{"live --quiet=1", "vncam live: option '--quiet' takes no value"},
        WrongLine{"live", "vncam live: nothing to write; give --output, --video or --audio"},
        WrongLine{"live --video a b", "vncam live: unexpected argument 'b'"},
        WrongLine{"live --video ''", "vncam live: --video needs a file name"},
        WrongLine{"live --video - --audio -",
                  "vncam live: only one of --video and --audio can go to standard output"},
        WrongLine{"live --fps 0", "vncam live: --fps '0': not a whole number from 1 to 120"},
        WrongLine{"live --fps 30x", "vncam live: --fps '30x': not a whole number from 1 to 120"},
        WrongLine{"live --fps 29.97", "vncam live: --fps '29.97': not a whole number from 1 to 120"},
        WrongLine{"live --fps 30000/1001",
                  "vncam live: --fps '30000/1001': not a whole number from 1 to 120"},
        WrongLine{"live --fps ''", "vncam live: --fps '': not a whole number from 1 to 120"},
        WrongLine{"live --bps 99999999999",
                  "vncam live: --bps '99999999999': not a bit rate from 10000 to 200000000; "
                  "examples: 2000000, 2M, 500k"},
        WrongLine{"live --gop -1", "vncam live: --gop '-1': not a whole number from 1 to 100000"},
        WrongLine{"live --channels 3", "vncam live: --channels '3': not a whole number from 1 to 2"},
        WrongLine{"live --seconds soon", "vncam live: --seconds 'soon': not a number of seconds"},
        WrongLine{"live --seconds -1", "vncam live: --seconds '-1': not a number of seconds"},
        WrongLine{"live --seconds nan", "vncam live: --seconds 'nan': not a number of seconds"},
        WrongLine{"live --size 1920", "vncam live: --size '1920': not WIDTHxHEIGHT; " EDGES},
        WrongLine{"live --size 1921x1080", "vncam live: --size '1921x1080': not WIDTHxHEIGHT; " EDGES},
        WrongLine{"live --size 0x0", "vncam live: --size '0x0': not WIDTHxHEIGHT; " EDGES},
        WrongLine{"live --size 16384x16", "vncam live: --size '16384x16': not WIDTHxHEIGHT; " EDGES},
        WrongLine{"live --switch 640x360",
                  "vncam live: --switch '640x360': not WIDTHxHEIGHT@SECONDS; " EDGES},
        WrongLine{"live --switch 640x360@0",
                  "vncam live: --switch '640x360@0': not WIDTHxHEIGHT@SECONDS; " EDGES},
        WrongLine{"live --audio a --switch 640x360@1", "vncam live: --switch needs --video or --output"},
        WrongLine{"live --video a --switch 640x360@2 --switch 320x180@2",
                  "vncam live: --switch 320x180@2 is not after --switch 640x360@2"},
        WrongLine{"live --video a --seconds 2 --switch 640x360@2.5",
                  "vncam live: --switch 640x360@2.5 is after the end of the film"},
        WrongLine{"live --output film.avi",
                  "vncam live: --output film.avi: not NAME.mp4, NAME.ts or - (MPEG-TS on standard output)"},
        WrongLine{"live --output ''", "vncam live: --output needs a file name"},
        WrongLine{"live --output a.ts --audio a.aac",
                  "vncam live: --output cannot be used with --video or --audio"},
        WrongLine{"live --video a --no-audio", "vncam live: --no-audio needs --output"},
        WrongLine{"live --output a.mp4 --switch 640x360@1",
                  "vncam live: --switch cannot be used with a.mp4: an MP4 file has one picture size; name a "
                  ".ts file"},
        WrongLine{"watch film", "vncam watch: unexpected argument 'film'"},
        WrongLine{"watch --player vlc",
                  "vncam watch: --player 'vlc': not ffplay or mpv, nor the path of one of them"},
        WrongLine{"watch --player ''", "vncam watch: --player needs a name"},
        WrongLine{"watch --fps 0", "vncam watch: --fps '0': not a whole number from 1 to 120"},
        WrongLine{"pcm a.wav", "vncam pcm: unexpected argument 'a.wav'"},
        WrongLine{"pcm -o ''", "vncam pcm: --output needs a file name"},
        WrongLine{"pcm --raw", "vncam pcm: --raw needs --output"},
        WrongLine{"pcm --channels 0", "vncam pcm: --channels '0': not a whole number from 1 to 2"},
        WrongLine{"pcm --rate 7999", "vncam pcm: --rate '7999': not a whole number from 8000 to 192000"},
        WrongLine{"pcm --seconds x", "vncam pcm: --seconds 'x': not a number of seconds"},
        WrongLine{"aac", "vncam aac: missing operand: encode or decode"},
        WrongLine{"aac encode", "vncam aac: missing operand: IN"},
        WrongLine{"aac encode a.wav", "vncam aac: missing operand: OUT"},
        WrongLine{"aac encode a.wav b.aac c", "vncam aac: unexpected argument 'c'"},
        WrongLine{"aac transcode a b", "vncam aac: 'transcode': not encode or decode"},
        WrongLine{"aac encode --bps x a b",
                  "vncam aac: --bps 'x': not a bit rate from 0 to 2000000; examples: 2000000, 2M, 500k"},
        WrongLine{"aac encode --bandwidth 48001 a b",
                  "vncam aac: --bandwidth '48001': not a whole number from 0 to 48000"},
        WrongLine{"volume", "vncam volume: missing operand: mic or speaker"},
        WrongLine{"volume mic", "vncam volume: missing operand: N"},
        WrongLine{"volume horn 50", "vncam volume: 'horn': not mic or speaker"},
        WrongLine{"volume mic loud", "vncam volume: N 'loud': not a whole number from 0 to 100"},
        WrongLine{"volume mic 101", "vncam volume: N '101': not a whole number from 0 to 100"},
        WrongLine{"volume --fly mic 50", "vncam volume: unknown option '--fly'"},
        WrongLine{"volume mic 50 fly", "vncam: unknown command 'fly'"},
        WrongLine{"volume mic 50 pcm --fly", "vncam pcm: unknown option '--fly'"},
        WrongLine{"mute", "vncam mute: missing operand: mic or speaker"},
        WrongLine{"mute horn", "vncam mute: 'horn': not mic or speaker"},
        WrongLine{"play", "vncam play: missing operand: FILE.wav"},
        WrongLine{"play a.wav b.wav", "vncam play: unexpected argument 'b.wav'"},
        WrongLine{"play --fly", "vncam play: unknown option '--fly'"},
        WrongLine{"zone", "vncam zone: missing operand: set, grid, on, off or list"},
        WrongLine{"zone hide 1", "vncam zone: 'hide': not set, grid, on, off or list"},
        WrongLine{"zone set", "vncam zone: missing operand: N"},
        WrongLine{"zone set 1", "vncam zone: missing operand: X,Y,WIDTHxHEIGHT"},
        WrongLine{"zone set 1 1,1,1x1 2", "vncam zone: unexpected argument '2'"},
        WrongLine{"zone set 16 1,1,1x1", "vncam zone: N '16': not a whole number from 0 to 15"},
        WrongLine{"zone set -- -1 1,1,1x1", "vncam zone: N '-1': not a whole number from 0 to 15"},
        WrongLine{"zone set 1 1,1x1", "vncam zone: rectangle '1,1x1': not X,Y,WIDTHxHEIGHT"},
        WrongLine{"zone set 1 1,1,0x1", "vncam zone: WIDTH '0': not a whole number from 1 to 2147483647"},
        WrongLine{"zone set 1 a,1,2x1",
                  "vncam zone: X 'a': not a whole number from -2147483648 to 2147483647"},
        WrongLine{"zone set 1 1,1,1x1 --color pink",
                  "vncam zone: --color 'pink': not RRGGBB or one of black white gray silver red green blue "
                  "yellow cyan magenta orange"},
        WrongLine{"zone grid 1 1,1-2", "vncam zone: cells '1,1-2': not C,R-C,R"},
        WrongLine{"zone grid 1 1,1-2,16", "vncam zone: cell '16': not a whole number from 0 to 15"},
        WrongLine{"zone grid 1 3,3-2,4",
                  "vncam zone: cells '3,3-2,4': the second corner is left of the first or above it"},
        WrongLine{"zone grid 1 3,3-4,2",
                  "vncam zone: cells '3,3-4,2': the second corner is left of the first or above it"},
        WrongLine{"zone on", "vncam zone: missing operand: N or all"},
        WrongLine{"zone off none", "vncam zone: N 'none': not a whole number from 0 to 15"},
        WrongLine{"zone list 1", "vncam zone: unexpected argument '1'"},
        WrongLine{"stamp", "vncam stamp: nothing to set; give TEXT or an option"},
        WrongLine{"stamp a b", "vncam stamp: unexpected argument 'b'"},
        WrongLine{"stamp --at 10", "vncam stamp: --at '10': not X,Y"},
        WrongLine{"stamp --at 0,5", "vncam stamp: --at '0': not a whole number from 1 to 1919"},
        WrongLine{"stamp --size 16", "vncam stamp: --size '16': not WxH"},
        WrongLine{"stamp --size 16x541", "vncam stamp: --size '541': not a whole number from 1 to 540"},
        WrongLine{"stamp --color 12345",
                  "vncam stamp: --color '12345': not RRGGBB, AARRGGBB or one of black white gray silver red "
                  "green blue yellow cyan magenta orange"},
        WrongLine{"flip", "vncam flip: missing operand: none, horizontal, vertical or both"},
        WrongLine{"flip over", "vncam flip: 'over': not none, horizontal, vertical or both"},
        WrongLine{"flip none both", "vncam flip: unexpected argument 'both'"},
        WrongLine{"flicker", "vncam flicker: missing operand: on or off"},
        WrongLine{"flicker 50", "vncam flicker: '50': not on or off"},
        WrongLine{"detect a.png", "vncam detect: unexpected argument 'a.png'"},
        WrongLine{"detect --fps 0", "vncam detect: --fps '0': not a whole number from 1 to 120"},
        WrongLine{"detect --picture=", "vncam detect: --picture needs a file name"},
        WrongLine{"qr a.png", "vncam qr: unexpected argument 'a.png'"},
        WrongLine{"qr --count 0", "vncam qr: --count '0': not a whole number from 1 to 1000000"},
        WrongLine{"qr --seconds x", "vncam qr: --seconds 'x': not a number of seconds"},
        WrongLine{"sources all", "vncam sources: unexpected argument 'all'"}));

TEST_F(Cli, AWrongCommandLineLeavesFilesAlone) {
    writeFile(path("kept"), "content");
    EXPECT_EQ(run("vncam live --video kept --fps 0").exit, 2);
    EXPECT_EQ(readFile(path("kept")), "content");
}

TEST_F(Cli, SourcesListsEveryResourceAndSetting) {
    const Result result = run("KEP_HOST_VIDEO=file:x.mp4 KEP_HOST_SPEAKER= vncam sources");
    EXPECT_EQ(result.exit, 0);
    EXPECT_EQ(result.err, "") << "refusals belong in the table";
    for (const int type : {31, 65, 66, 67, 68, 69, 70, 71, 72, 73, 74, 75, 76, 77, 78})
        EXPECT_TRUE(std::regex_search(result.out, std::regex("\n  " + std::to_string(type) +
                                                             "  VNRES_[A-Z0-9_]+ .*(available|refused)")))
            << type << "\n"
            << result.out;
    for (const char* name : {"66  VNRES_H264_SOURCE ", "68  VNRES_AAC_SOURCE ", "69  VNRES_PCM_PLAYER "})
        EXPECT_TRUE(std::regex_search(result.out, std::regex(std::string(name) + ".*  available\n"))) << name;
    EXPECT_TRUE(std::regex_search(result.out, std::regex("\n  KEP_HOST_VIDEO +file:x.mp4\n"))) << result.out;
    EXPECT_TRUE(std::regex_search(result.out, std::regex("\n  KEP_HOST_SPEAKER +null \\(not set\\)\n")));
    for (const char* const variable : {"AUDIO", "PRERECORD", "SHM", "PEOPLE_MODEL", "LOG", "LOG_FORMAT"})
        EXPECT_NE(result.out.find("\n  KEP_HOST_" + std::string(variable) + " "), std::string::npos)
            << variable;
    EXPECT_NE(result.out.find("\nDevices found:\n"), std::string::npos);
}

}  // namespace
}  // namespace vncam_test
