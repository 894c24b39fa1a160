// Runs a fuzz target without libFuzzer, with any compiler: on the inputs that once broke it, and on
// some reproducible random ones.
//
//   quivo_replay_TARGET FOLDER COUNT

#include "Fuzz.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <set>
#include <vector>

namespace {

void run(std::vector<char> const& input) {
    // A block of exactly that size, so that reading past its end shows.
    std::vector<std::uint8_t> const bytes(input.begin(), input.end());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

int replay(std::filesystem::path const& folder) {
    if (!std::filesystem::is_directory(folder)) return 0;  // nothing was found in this target yet
    std::set<std::filesystem::path> files;
    for (auto const& entry : std::filesystem::directory_iterator(folder)) files.insert(entry);
    for (auto const& path : files) {
        std::fprintf(stderr, "%s\n", path.c_str());  // the last one is the one that failed
        std::ifstream file(path, std::ios::binary);
        Quivo::Fuzzing::require(file.is_open(), path.string() + " can be read");
        run({std::istreambuf_iterator<char>(file), {}});
    }
    return static_cast<int>(files.size());
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s FOLDER COUNT\n", argv[0]);
        return 2;
    }
    int const numFiles = replay(argv[1]);
    int const count = std::atoi(argv[2]);
    std::mt19937 random(7);
    for (int i = 0; i < count; ++i) {
        std::vector<char> input(random() % 256);
        for (char& c : input) c = static_cast<char>(random());
        run(input);
    }
    std::printf("%d kept and %d random inputs\n", numFiles, count);
    return 0;
}
