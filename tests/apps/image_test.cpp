// `vncam zone`, `stamp`, `flip` and `flicker`: settings of one process appear in the pictures of another.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>

#include "own_segments.h"
#include "shell.h"

namespace vncam_test {
namespace {

class ImageCommand : public Shell {
  protected:
    /** The camera shows a picture that is red on the left and blue on the right, grey below. */
    ImageCommand() {
        run("ffmpeg -nostdin -v error -f lavfi -i color=red:s=960x540 -f lavfi -i color=blue:s=960x540 "
            "-f lavfi -i color=gray:s=1920x540 -filter_complex '[0][1]hstack[a];[a][2]vstack' -frames:v 1 "
            "still.png");
        setenv("KEP_HOST_VIDEO", ("file:" + path("still.png").string()).c_str(), 1);
    }
    ~ImageCommand() override { unsetenv("KEP_HOST_VIDEO"); }

    /** The colour at a place of a picture of 1920x1080: a letter for each component, lower case for a medium
     * and "-" for a low value. */
    std::string colourAt(const std::string& file, int x, int y) const {
        const std::string place = std::to_string(x) + ":" + std::to_string(y);
        const std::string bytes = run("ffmpeg -nostdin -v error -i " + file +
                                      " -frames:v 1 -vf crop=2:2:" + place + " -f rawvideo -pix_fmt rgb24 -")
                                      .out;
        if (bytes.size() < 3) return "none";
        std::string name;
        for (std::size_t i = 0; i < 3; ++i) {
            const auto part = static_cast<unsigned char>(bytes[i]);
            name += part < 40 ? '-' : part > 215 ? "RGB"[i] : "rgb"[i];
        }
        return name;
    }
    /** The same in a picture that another process takes now. */
    std::string filmed(int x, int y) const {
        const Result snap = run("vncam snap -o now.jpg");
        EXPECT_EQ(snap.err, "");
        return colourAt("now.jpg", x, y);
    }
    void expectDone(const std::string& arguments) const {
        const Result result = run("vncam " + arguments);
        EXPECT_EQ(result.exit, 0) << arguments;
        EXPECT_EQ(result.out + result.err, "") << arguments;
    }

  private:
    const OwnSegments segments_;
};

TEST_F(ImageCommand, AZoneAppearsInAnotherProcess) {
    ASSERT_EQ(filmed(300, 300), "R--");
    expectDone("zone set 3 200,200,300x200 --color yellow");
    EXPECT_EQ(filmed(300, 300), "RG-");
    EXPECT_EQ(filmed(500, 300), "R--");
    expectDone("zone off 3");
    EXPECT_EQ(filmed(300, 300), "R--");
    expectDone("zone on 3");
    EXPECT_EQ(filmed(300, 300), "RG-");
    expectDone("zone off all");
    EXPECT_EQ(filmed(300, 300), "R--");
    expectDone("zone set -- 3 -100,-100,150x150");
    EXPECT_EQ(filmed(20, 20), "---");
    EXPECT_EQ(filmed(60, 20), "R--");
}

TEST_F(ImageCommand, CellsAreCoveredCompletely) {
    expectDone("zone grid 0 8,0-15,7 --color 00ff00");
    EXPECT_EQ(filmed(940, 100), "R--");
    EXPECT_EQ(filmed(980, 100), "-G-");
    EXPECT_EQ(filmed(1918, 530), "-G-");
    EXPECT_EQ(filmed(1918, 560), "rgb");
}

TEST_F(ImageCommand, ZonesAreListedAsTheyWereSet) {
    EXPECT_EQ(run("vncam zone list").out, "");
    expectDone("zone on all");
    EXPECT_EQ(run("vncam zone list").out, "") << "none has been set";
    expectDone("zone set 0 200,100,300x400 --color ffa500");
    expectDone("zone set -- 15 -5,2000,1x1");
    expectDone("zone off 15");
    const Result list = run("vncam zone list");
    EXPECT_EQ(list.exit, 0);
    // A table's colours are rounded down.
    EXPECT_EQ(list.out, " 0  on   200,100,300x400  FEA500\n15  off  -5,2000,1x1  000000\n");
    expectDone("zone on all");
    EXPECT_NE(run("vncam zone list").out.find("15  on "), std::string::npos);
}

TEST_F(ImageCommand, AnUnreadableTableIsAFailure) {
    const Result result = run("printf short >/dev/shm/${KEP_HOST_SHM}vornisa_shm_rects; vncam zone list");
    EXPECT_EQ(result.exit, 1);
    EXPECT_EQ(result.err, "vncam zone: shared memory vornisa_shm_rects: cannot read: too short\n");
}

TEST_F(ImageCommand, AStampAppearsInAnotherProcess) {
    expectDone("stamp '' --at 200,200");
    EXPECT_EQ(filmed(250, 250), "R--") << "no text";
    expectDone("stamp '\u2588\u2588' --at 200,200 --size 100x100 --color green --background none");
    EXPECT_EQ(filmed(250, 250), "-G-");
    EXPECT_EQ(filmed(190, 250), "R--");
    expectDone("stamp --off");
    EXPECT_EQ(filmed(250, 250), "R--");
    expectDone("stamp --on");
    EXPECT_EQ(filmed(250, 250), "-G-");
    expectDone("stamp --at 1000,200 --color ffffff00");
    EXPECT_EQ(filmed(250, 250), "R--");
    EXPECT_EQ(filmed(1050, 250), "RG-");
    expectDone("stamp ' ' --size 100x100 --background white");
    EXPECT_EQ(filmed(80, 80), "RGB") << "at the default place";
}

TEST_F(ImageCommand, AMissingFontIsReported) {
    const Result result = run("vncam stamp text --font 'No Such Font'");
    EXPECT_EQ(result.exit, 0);
    EXPECT_NE(result.err.find("font No Such Font: using DejaVu Sans Mono instead: not installed\n"),
              std::string::npos)
        << result.err;
}

TEST_F(ImageCommand, AFlipAppearsInAnotherProcess) {
    expectDone("flip horizontal");
    EXPECT_EQ(filmed(300, 300), "--B");
    expectDone("flip vertical");
    EXPECT_EQ(filmed(300, 300), "rgb");
    EXPECT_EQ(filmed(300, 800), "R--");
    expectDone("flip both");
    EXPECT_EQ(filmed(300, 800), "--B");
    expectDone("flip none");
    EXPECT_EQ(filmed(300, 300), "R--");
}

TEST_F(ImageCommand, FlickerIsKept) {
    const std::string segment = "/dev/shm/${KEP_HOST_SHM}vornisa_shm_image";
    expectDone("flicker on");
    EXPECT_EQ(run("od -An -tx1 " + segment).out, " 00 00 01 00\n");
    expectDone("flicker off");
    EXPECT_EQ(run("od -An -tx1 " + segment).out, " 00 00 00 00\n");
}

TEST_F(ImageCommand, AZoneAppearsInARunningFilm) {
    const Result result = run(
        // Through a pipe, which gets each picture at once.
        "mkfifo pipe; cat pipe >live.h264 &\n"
        "vncam live --size 640x360 --gop 15 --video pipe --quiet & camera=$!\n"
        "until [ -s live.h264 ]; do kill -0 $camera || exit 9; sleep 0.05; done\n"
        "vncam zone set 0 200,200,300x200 --color yellow || exit 8\n"
        // Four groups of pictures: the zone is in the last one from its beginning.
        "frames() { ffprobe -v error -count_packets -show_entries stream=nb_read_packets -of csv=p=0 "
        "live.h264; }\n"
        "begin=$(frames); until [ $(frames) -gt $((begin + 60)) ]; do kill -0 $camera || exit 7; sleep 0.1; "
        "done\n"
        "kill -INT $camera; wait\n"
        "ffmpeg -nostdin -v error -i live.h264 -vf scale=1920:1080 -frames:v 1 first.png\n"
        "ffmpeg -nostdin -v error -i live.h264 -vf select='eq(n\\,'$((begin + 60))'),scale=1920:1080' "
        "-frames:v 1 last.png");
    EXPECT_EQ(result.exit, 0) << result.err;
    EXPECT_EQ(colourAt("first.png", 300, 300), "R--");
    EXPECT_EQ(colourAt("last.png", 300, 300), "RG-");
}

TEST_F(ImageCommand, ARefusedCallIsAFailure) {
    setenv("KEP_HOST_SHM", "no/such/", 1);
    for (const auto& [arguments, call] : {std::pair{"zone set 0 1,1,1x1", "zone: VNZonesSet: "},
                                          {"zone on 0", "zone: VNZonesEnable(0): "},
                                          {"zone grid 0 1,1-1,1", "zone: VNZonesSet2: "},
                                          {"stamp text", "stamp: VNStampInit: "},
                                          {"flip both", "flip: VNTurnVideo: "},
                                          {"flicker on", "flicker: VNAeFlick: "}}) {
        const Result result = run(std::string("vncam ") + arguments);
        EXPECT_EQ(result.exit, 1) << arguments;
        EXPECT_NE(result.err.find("vncam " + std::string(call) +
                                  "the framework refused the call or failed (VNRES_FAIL, -1)\n"),
                  std::string::npos)
            << result.err;
    }
}

}  // namespace
}  // namespace vncam_test
