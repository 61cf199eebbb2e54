#include "recordings/temporary_file.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "recordings/failure.h"
#include "scratch_folder.h"

namespace recordings {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

class Temporary : public recordings_test::ScratchFolder {
  protected:
    /** A process that makes a temporary file and lives until end(). */
    void begin() {
        int made[2], ended[2];
        ASSERT_EQ(pipe(made), 0);
        ASSERT_EQ(pipe(ended), 0);
        process_ = fork();
        if (process_ == 0) {
            close(ended[1]);
            const std::string path = temporaryPath(folder().string(), "picture");
            std::ofstream(path) << "half";
            char byte = 0;
            if (write(made[1], path.c_str(), path.size()) < 0) _exit(1);
            close(made[1]);
            _exit(static_cast<int>(read(ended[0], &byte, 1)));
        }
        close(made[1]);
        close(ended[0]);
        end_ = ended[1];
        char text[512];
        for (ssize_t size; (size = read(made[0], text, sizeof text)) > 0;)
            name_.append(text, static_cast<std::size_t>(size));
        close(made[0]);
    }
    void end() const {
        close(end_);
        int status = 1;
        ASSERT_EQ(waitpid(process_, &status, 0), process_);
        ASSERT_EQ(status, 0);
    }
    std::string ended(const std::string& before, const std::string& after) const {
        std::string file = path(before + std::to_string(process_) + after);
        std::ofstream(file) << "x";
        return file;
    }

    std::string name_;
    pid_t process_ = 0;

  private:
    int end_ = -1;
};

TEST_F(Temporary, FilesAreAbandonedOnceTheirProcessHasEnded) {
    begin();
    EXPECT_THAT(abandonedIn(folder().string()), IsEmpty());
    end();
    EXPECT_THAT(abandonedIn(folder().string()), ElementsAre(name_));
    EXPECT_TRUE(removeAbandoned(name_, true));
    EXPECT_TRUE(fs::exists(name_));
    EXPECT_TRUE(removeAbandoned(name_, false));
    EXPECT_FALSE(fs::exists(name_));
}

TEST_F(Temporary, OtherNamesAreNotAbandoned) {
    begin();
    end();
    fs::remove(name_);
    const std::string good = ended(".rest_", "_1_2.part");
    ended("picture_", "_1_2.part");
    ended(".picture_", "_1_2.jpg");
    ended(".picture_", "_1.part");
    ended(".picture_", "_1_x.part");
    ended(".picture_", "_1_-2.part");
    ended(".picture_-", "_1_2.part");
    ended(".other_", "_1_2.part");
    std::ofstream(path(".picture_0_1_2.part")) << "x";
    std::ofstream(path("far")) << "x";
    fs::create_symlink("far", path(".picture_" + std::to_string(process_) + "_3_4.part"));
    fs::create_directory(path(".picture_" + std::to_string(process_) + "_5_6.part"));
    EXPECT_THAT(abandonedIn(folder().string()), ElementsAre(good));
}

TEST_F(Temporary, AFileThatIsBeingWrittenIsLeft) {
    const std::string file = path("file");
    std::ofstream writer(file);
    EXPECT_TRUE(isBeingWritten(file));
    EXPECT_FALSE(removeAbandoned(file, false));
    writer.close();
    EXPECT_FALSE(isBeingWritten(file));
    EXPECT_TRUE(removeAbandoned(file, false));
    EXPECT_THROW(removeAbandoned(file, false), Failure);
}

}  // namespace
}  // namespace recordings
