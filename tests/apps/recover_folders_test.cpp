// Operands and output of `vncam recover`; recover_test.cpp tests what it does with a file.
#include <gmock/gmock.h>

#include "shell.h"

namespace vncam_test {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

class RecoverFolders : public Shell {
  protected:
    void film(const std::string& name) {
        const Result made =
            run("ffmpeg -nostdin -v error -f lavfi -i testsrc2=s=320x180:r=30 -t 1 -c:v libx264 -preset "
                "ultrafast -g 15 -movflags frag_keyframe+empty_moov+default_base_moof -f mp4 '" +
                name + "'");
        ASSERT_EQ(made.exit, 0) << made.err;
    }
    bool exists(const std::string& name) const { return std::filesystem::exists(path(name)); }
};

TEST_F(RecoverFolders, RecoversFilesFoldersAndSubfoldersOnRequest) {
    ASSERT_EQ(run("mkdir -p one two/deep/deeper far && ln -s ../far two/link").exit, 0);
    film("one/a.mp4.part");
    for (const char* const name :
         {"one/b.mp4.part", "two/deep/c.mp4.part", "two/deep/deeper/d.mp4.part", "far/e.mp4.part"})
        std::filesystem::copy_file(path("one/a.mp4.part"), path(name));
    const Result flat = run("vncam recover one/a.mp4.part two");
    EXPECT_EQ(flat.exit, 0);
    EXPECT_EQ(flat.out, "one/a.mp4.part -> one/a.mp4: 1.0 s\n");
    EXPECT_EQ(flat.err, "vncam recover: two: no unfinished recordings\n");
    const Result all = run("vncam recover --recursive two one");
    EXPECT_EQ(all.exit, 0);
    EXPECT_EQ(all.out,
              "two/deep/c.mp4.part -> two/deep/c.mp4: 1.0 s\n"
              "two/deep/deeper/d.mp4.part -> two/deep/deeper/d.mp4: 1.0 s\n"
              "one/b.mp4.part -> one/b.mp4: 1.0 s\n");
    EXPECT_TRUE(exists("far/e.mp4.part")) << "links are not followed";
    EXPECT_EQ(run("ffprobe -v error -show_entries stream=codec_name -of csv=p=0 one/a.mp4").out, "h264\n");
}

TEST_F(RecoverFolders, JsonHasEachFile) {
    film("a \"b\".mp4.part");
    std::filesystem::copy_file(path("a \"b\".mp4.part"), path("c.mp4.part"));
    std::filesystem::resize_file(path("c.mp4.part"), std::filesystem::file_size(path("c.mp4.part")) - 200);
    writeFile(path("d.mp4.part"), "no film");
    writeFile(path("e.mp4"), "a name of another kind");
    const std::string print =
        "python3 -c 'import json, sys\n"
        "for one in json.load(sys.stdin): print(sorted(one.items()))'";
    const std::string expected =
        "\\[\\('damages', \\[\\]\\), \\('file', './a \"b\".mp4.part'\\), \\('name', './a \"b\".mp4'\\), "
        "\\('result', 'recovered'\\), \\('seconds', 1.0\\)\\]\n"
        "\\[\\('damages', \\[\\{'kind': 'end', 'begin': [0-9]+, 'end': [0-9]+\\}\\]\\), \\('file', "
        "'./c.mp4.part'\\), \\('name', './c.mp4'\\), \\('result', 'recovered'\\), \\('seconds', "
        "[0-9.]+\\)\\]\n"
        "\\[\\('file', './d.mp4.part'\\), \\('reason', 'neither MP4 nor MPEG-TS'\\), \\('result', "
        "'unchanged'\\)\\]\n";
    EXPECT_THAT(run("vncam recover --json --dry-run . | " + print).out, MatchesRegex(expected));
    EXPECT_TRUE(exists("c.mp4.part"));
    const Result done = run("vncam recover --json . e.mp4 no | " + print);
    EXPECT_EQ(done.exit, 1);
    EXPECT_THAT(done.out,
                MatchesRegex(expected +
                             "\\[\\('error', 'e.mp4: not an unfinished recording: its name does not end in "
                             ".part'\\), \\('file', 'e.mp4'\\), \\('result', 'failed'\\)\\]\n"
                             "\\[\\('error', 'no: cannot read the folder: No such file or directory'\\), "
                             "\\('file', 'no'\\), \\('result', 'failed'\\)\\]\n"));
    EXPECT_THAT(done.err, HasSubstr("vncam recover: no: cannot read the folder: No such file or directory"));
    EXPECT_TRUE(exists("c.mp4"));
    EXPECT_EQ(run("vncam recover --json . 2>/dev/null | python3 -c 'import json, sys; "
                  "print(len(json.load(sys.stdin)))'")
                  .out,
              "1\n");
}

TEST_F(RecoverFolders, TemporaryFilesOfKilledProcessesAreRemoved) {
    // The picture is larger than files may be.
    const Result killed = run("ulimit -c 0; ulimit -f 20; vncam snap --size 1280x720 -o p.jpg");
    EXPECT_EQ(killed.exit, 128 + 25) << killed.err;
    const std::string left = run("ls -A | grep '^\\.picture_'").out;
    ASSERT_NE(left, "");
    const std::string name = "./" + left.substr(0, left.size() - 1);
    EXPECT_EQ(run("vncam recover --dry-run .").out,
              name + " would be removed: a temporary file of a process that has ended\n");
    EXPECT_TRUE(exists(name));
    EXPECT_EQ(run("exec 5>>" + name + "; vncam recover .").err,
              "vncam recover: .: no unfinished recordings\n");
    EXPECT_TRUE(exists(name));
    EXPECT_EQ(run("vncam recover .").out, name + " removed: a temporary file of a process that has ended\n");
    EXPECT_FALSE(exists(name));
}

}  // namespace
}  // namespace vncam_test
