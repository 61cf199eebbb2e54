// Runs a fuzz target over its corpus as ordinary tests, one per file.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::vector<std::string> corpus() {
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(FUZZ_CORPUS)) {
        files.push_back(entry.path().filename().string());
    }
    return files;
}

class Replay : public testing::TestWithParam<std::string> {};

TEST_P(Replay, Holds) {
    std::ifstream file(std::string(FUZZ_CORPUS "/") + GetParam(), std::ios::binary);
    ASSERT_TRUE(file);
    const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    EXPECT_EQ(LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()), 0);
}

INSTANTIATE_TEST_SUITE_P(Corpus, Replay, testing::ValuesIn(corpus()), [](const auto& file) {
    std::string name = file.param;
    for (char& letter : name) {
        if (!std::isalnum(static_cast<unsigned char>(letter))) letter = '_';
    }
    return name;
});

}  // namespace
