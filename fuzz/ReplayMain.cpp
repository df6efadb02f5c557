// Without arguments: runs every seed, cut at many lengths and with many of its bytes turned over.
// With a folder: writes the seeds there, as a first corpus for libFuzzer.
#include <filesystem>
#include <fstream>

#include "FuzzTarget.h"

namespace {

void Run(const std::string& input) {
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
}

void RunVariants(const std::string& seed) {
    // A long seed is sampled: its start byte by byte, the rest at a stride without a pattern.
    for (std::size_t at = 0; at < seed.size(); at += at < 64 ? 1 : 13) {
        Run(seed.substr(0, at));
        std::string turned = seed;
        turned[at] = static_cast<char>(~turned[at]);
        Run(turned);
    }
    Run(seed);
}

void WriteSeeds(const std::filesystem::path& folder) {
    std::filesystem::create_directories(folder);
    int number = 0;
    for (const std::string& seed : FuzzSeeds()) {
        std::ofstream(folder / ("seed" + std::to_string(++number)), std::ios::binary) << seed;
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 1) {
        WriteSeeds(argv[1]);
        return 0;
    }
    const std::vector<std::string> seeds = FuzzSeeds();
    for (const std::string& seed : seeds) {
        RunVariants(seed);
    }
    std::printf("replayed %zu seeds\n", seeds.size());
    return seeds.empty() ? 1 : 0;
}
