// Runs every fuzz target on its samples and on its corpus, the inputs in fuzz/corpus/TARGET. Each sample is used
// unchanged, cut short, and with single bits flipped. The places of these changes are the same in every run.
#include <gtest/gtest.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <system_error>

#include "fuzz/fuzz_target.h"
#include "platform/dfx/sinks.h"

namespace Vexo::Fuzz {

// Prints the name of a target. GoogleTest and CTest show it as the name of the test case.
void PrintTo(const Target& target, std::ostream* out)
{
    *out << target.name;
}

namespace {

// The largest numbers of cuts and of bit flips for each sample. In a longer sample, their places are evenly spaced.
constexpr size_t MAX_CUTS = 50;
constexpr size_t MAX_FLIPS = 100;

class Replay : public testing::TestWithParam<Target> {
protected:
    void SetUp() override { QuviewDFX::SetLogLevel(QuviewDFX::LogLevel::FATAL); }

    // Returns true if the decoder accepted the input. The decoder gets a copy in memory of exactly the input's size, so
    // that a sanitizer detects every read beyond the input.
    static bool Accepts(const std::string& input, const std::string& what)
    {
        const std::vector<char> exact(input.begin(), input.end());
        try {
            return GetParam().run({exact.data(), exact.size()});
        } catch (const std::exception& failed) {
            ADD_FAILURE() << what << ": requirement does not hold: " << failed.what();
            return false;
        }
    }
};

TEST_P(Replay, AcceptsSamplesAndSurvivesDamagedOnes)
{
    size_t number = 0;
    size_t refused = 0;
    for (const std::string& sample : GetParam().samples()) {
        const std::string name = "sample " + std::to_string(number++);
        EXPECT_TRUE(Accepts(sample, name)) << name << " is not valid";
        for (size_t size = 0; size < sample.size(); size += sample.size() / MAX_CUTS + 1) {
            refused += Accepts(sample.substr(0, size), name + " cut to " + std::to_string(size)) ? 0 : 1;
        }
        const size_t bits = sample.size() * 8;
        for (size_t bit = 0; bit < bits; bit += bits / MAX_FLIPS + 1) {
            std::string flipped = sample;
            flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << (bit % 8)));
            refused += Accepts(flipped, name + " with bit " + std::to_string(bit) + " flipped") ? 0 : 1;
        }
    }
    EXPECT_GT(refused, number) << "too few damaged samples are rejected";
    // Some inputs of the corpus are valid and others are not. A target may have no corpus.
    std::error_code ignored;
    const std::filesystem::path corpus = std::filesystem::path(DISTNET_FUZZ_CORPUS_DIR) / GetParam().name;
    for (const auto& entry : std::filesystem::directory_iterator(corpus, ignored)) {
        std::ifstream file(entry.path(), std::ios::binary);
        Accepts({std::istreambuf_iterator<char>(file), {}}, entry.path().filename().string());
    }
}

INSTANTIATE_TEST_SUITE_P(Fuzz, Replay, testing::ValuesIn(Targets()));

}  // namespace
}  // namespace Vexo::Fuzz
