// An application needs only the installed tree, which can be moved.
#include "shell.h"

namespace vncam_test {
namespace {

using Install = Shell;

TEST_F(Install, AnApplicationIsBuiltAndRunsFromTheInstalledTree) {
    const Result install = run("cmake --install " BUILD_FOLDER " --prefix \"$PWD/first\" && mv first moved");
    ASSERT_EQ(install.exit, 0) << install.err;
    const Result build =
        run("sed 's/300/30/' " PROJECT_FOLDER
            "/apps/example/ten_seconds.c >app.c\n"
            "export PKG_CONFIG_PATH=\"$(dirname \"$(find \"$PWD/moved\" -name vornisa-api.pc)\")\"\n"
            "cc -std=c99 " SANITIZER_OPTIONS
            " app.c -o app $(pkg-config --cflags --libs vornisa-api) "
            "$(pkg-config --variable=rpath vornisa-api)");
    ASSERT_EQ(build.exit, 0) << build.err;
    const Result film = run("./app");
    EXPECT_EQ(film.exit, 0) << film.err;
    EXPECT_EQ(pictureRuns("live.h264"), "30 of 1280x720");
    EXPECT_EQ(run("moved/bin/vncam --version").out, run("vncam --version").out);
    EXPECT_EQ(run("ldd app moved/bin/vncam | grep -E 'kep|Vornisa' | grep -vc \"$PWD/moved/\"").out, "0\n");

    // CMake finds it, too, and rejects a version that is too old.
    const auto configure = [this](const std::string& version) {
        writeFile(path("CMakeLists.txt"),
                  "cmake_minimum_required(VERSION 3.25)\nproject(app C)\n"
                  "find_package(vornisa-api " +
                      version +
                      " REQUIRED)\nadd_executable(app2 app.c)\n"
                      "target_link_libraries(app2 vornisa-api::vornisa-api)\n");
        return run("cmake -S . -B app2 -DCMAKE_C_FLAGS='" SANITIZER_OPTIONS
                   "' -DCMAKE_PREFIX_PATH=\"$PWD/moved\" && cmake --build app2");
    };
    const Result built = configure("1.1");
    ASSERT_EQ(built.exit, 0) << built.out << built.err;
    EXPECT_EQ(run("app2/app2").exit, 0);
    EXPECT_NE(configure("2.0").err.find("requested version \"2.0\""), std::string::npos);

    // The retention library needs no other library.
    writeFile(path("room.c"),
              "#include <vornisa_retention.h>\nint main(void) {\n"
              "  const char* const name = \"a.mp4\";\n"
              "  const VNRetention limits = {\".\", &name, 1, 1, 0, 0};\n"
              "  return VNRetain(&limits, NULL, NULL);\n}\n");
    const Result room =
        run("export PKG_CONFIG_PATH=\"$(dirname \"$(find \"$PWD/moved\" -name vornisa-retention.pc)\")\"\n"
            "cc -std=c99 -pedantic-errors -Wall -Werror " SANITIZER_OPTIONS
            " room.c -o room $(pkg-config --cflags --libs vornisa-retention) "
            "$(pkg-config --variable=rpath vornisa-retention) && echo film >a-1.mp4 && ./room && ls a-1.mp4");
    EXPECT_EQ(room.exit, 2) << room.err;
    EXPECT_EQ(run("ldd room | grep -c 'kep\\|Plugin'").out, "0\n");

    // The libraries for codes and people are loaded on demand, from the same folder, and may be missing.
    EXPECT_EQ(run("moved/bin/vncam qr --seconds 0").err, "vncam qr: no code read\n");
    EXPECT_EQ(run("moved/bin/vncam detect --seconds 0").err, "vncam detect: nobody found\n");
    const auto missing = [this](const std::string& library, const std::string& command,
                                const std::string& line) {
        const Result without =
            run("rm moved/lib*/" + library + " moved/lib/*/" + library + "; moved/bin/vncam " + command);
        EXPECT_EQ(without.exit, 1);
        EXPECT_NE(
            without.err.find("class " + line + ": " + library +
                             ": cannot open shared object file: No such file or directory at position "),
            std::string::npos)
            << without.err;
    };
    missing("libkepcodes.so", "qr", "ZBarSink is not in this build, which needs libzxing-dev");
    missing("libkeppeople.so", "detect",
            "HumanDetect is not in this build, which needs libopencv-objdetect-dev");
    EXPECT_EQ(run("./app").exit, 0) << "everything else works without them";
}

}  // namespace
}  // namespace vncam_test
