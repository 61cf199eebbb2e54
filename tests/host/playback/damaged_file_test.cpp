// Files with damage anywhere: their intact parts are read or the file is refused, without hangs or crashes.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <random>

#include "file_contents.h"
#include "file_layouts.h"
#include "recordings/failure.h"
#include "recordings/mp4_reader.h"
#include "scratch_folder.h"

namespace {

using recordings::Mp4Reader;

/** Time limit to detect a hang: far more than any of these files takes on a loaded machine. */
constexpr std::chrono::seconds kTimeLimit(10);

class DamagedFile : public recordings_test::ScratchFolder, public testing::WithParamInterface<FileLayout> {
  protected:
    DamagedFile() {
        makeFile(path("made.mp4"), GetParam().options, 2);
        bytes_ = contentsOf(path("made.mp4"));
    }

    /** Reads the file, and parts of it again after seeks; returns the number of samples. */
    std::size_t readAll(const std::string& bytes) {
        const std::string file = path("damaged.mp4");
        std::ofstream(file, std::ios::binary) << bytes;
        const auto begin = std::chrono::steady_clock::now();
        std::size_t count = 0;
        try {
            Mp4Reader reader(file);
            try {
                while (reader.next()) ++count;
            } catch (const recordings::Failure& failure) {
                EXPECT_EQ(std::string(failure.what()).rfind(file + ": ", 0), 0u) << failure.what();
            }
            for (const int part : {0, 1, 2}) {
                if (reader.seek(reader.milliseconds() / 2 * part)) reader.next();
            }
        } catch (const recordings::Failure& failure) {
            EXPECT_EQ(std::string(failure.what()).rfind(file + ": ", 0), 0u) << failure.what();
        }
        EXPECT_LT(std::chrono::steady_clock::now() - begin, kTimeLimit);
        return count;
    }

    std::string bytes_;
    std::mt19937 random_{17};
};

TEST_P(DamagedFile, IsReadAsFarAsItsDescriptionsAreIntact) {
    const std::size_t whole = readAll(bytes_);
    ASSERT_GT(whole, 50u);
    // Damages mainly the descriptions: the bytes around box names.
    std::vector<std::size_t> places;
    for (const char* const kind :
         {"moov", "mvhd", "mdhd", "elst", "stsd", "stts", "ctts", "stsc", "stsz", "stco",
          "stss", "trex", "moof", "tfhd", "tfdt", "trun", "mfra", "tfra", "mfro", "sidx"}) {
        for (std::size_t at = bytes_.find(kind); at != std::string::npos; at = bytes_.find(kind, at + 1))
            places.push_back(at - 4);
    }
    for (int i = 0; i < 200; ++i) {
        std::string bytes = bytes_;
        const std::size_t begin = places.at(random_() % places.size()) + random_() % 32;
        const std::size_t count = 1 + random_() % 4;
        const bool isLarge = random_() % 2;
        for (std::size_t k = begin; k < std::min(begin + count, bytes.size()); ++k)
            bytes[k] = static_cast<char>(isLarge ? 0xff : random_());
        readAll(bytes);
    }
}

TEST_P(DamagedFile, IsReadAsFarAsItIsIntact) {
    const std::size_t whole = readAll(bytes_);
    for (int i = 0; i < 40; ++i) EXPECT_LE(readAll(bytes_.substr(0, random_() % bytes_.size())), whole);
    for (int i = 0; i < 40; ++i) {
        const std::size_t begin = random_() % bytes_.size();
        const std::size_t end = begin + random_() % (bytes_.size() - begin);
        readAll(bytes_.substr(0, begin) + bytes_.substr(end));
        readAll(bytes_.substr(0, end) + bytes_.substr(begin));
    }
}

INSTANTIATE_TEST_SUITE_P(Files, DamagedFile, testing::ValuesIn(playedLayouts()),
                         [](const testing::TestParamInfo<FileLayout>& layout) {
                             return std::string(layout.param.name);
                         });

}  // namespace
