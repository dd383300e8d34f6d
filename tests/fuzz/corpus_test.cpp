// The inputs that the fuzzers found worth keeping, and those that once broke something.
#include <gtest/gtest.h>

#include <filesystem>

#include "fuzz.h"
#include "support/files.h"

class Corpus : public testing::TestWithParam<fuzz::Entry> {};

TEST_P(Corpus, RunsClean) {
    const std::string folder = std::string(FUZZ_CORPUS) + "/" + GetParam().name;
    int inputs = 0;
    for (const auto &file : std::filesystem::directory_iterator(folder)) {
        fuzz::current_input = file.path().string();
        const std::string bytes = files::get(fuzz::current_input);
        fuzz::Bytes in(bytes);
        GetParam().run(in);
        ++inputs;
    }
    EXPECT_GT(inputs, 0) << "no saved inputs in " << folder;
}

INSTANTIATE_TEST_SUITE_P(Fuzz, Corpus, testing::ValuesIn(fuzz::targets()),
                         [](const auto &entry) { return std::string(entry.param.name); });
