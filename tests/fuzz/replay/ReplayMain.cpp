// Runs the seeds of one fuzz program without libFuzzer: each seed whole, each of its beginnings, and each
// of its bytes changed. A folder without seeds is a failure, so that a lost corpus is noticed.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "tests/fuzz/replay/Programs.h"

namespace {

using xel::fuzz::FuzzedFunction;
using xel::fuzz::Program;
using Bytes = std::vector<std::uint8_t>;

// Beyond this, a seed is cut and changed at this many evenly spread places only.
constexpr std::size_t kMostPlaces = 32;

class Replay {
public:
    explicit Replay(FuzzedFunction* fuzzed) : fuzzed_(fuzzed) {}

    [[nodiscard]] std::size_t runs() const { return runs_; }

    void replay(const Bytes& seed) {
        run(seed);
        const std::size_t step = seed.size() / kMostPlaces + 1;
        for (std::size_t place = 0; place < seed.size(); place += step) {
            run(Bytes(seed.begin(), seed.begin() + static_cast<std::ptrdiff_t>(place)));
            for (const unsigned change : {0x01U, 0x80U, 0xFFU}) {
                Bytes changed = seed;
                changed[place] = static_cast<std::uint8_t>(changed[place] ^ change);
                run(changed);
            }
        }
    }

private:
    void run(const Bytes& bytes) {
        // An exact copy on the heap: the address sanitizer then sees a read past the end.
        const Bytes exact(bytes.begin(), bytes.end());
        fuzzed_(exact.data(), exact.size());
        ++runs_;
    }

    FuzzedFunction* fuzzed_;
    std::size_t runs_ = 0;
};

Bytes read(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

int replayFolder(const Program& program, const std::filesystem::path& folder) {
    Replay replay(program.run);
    std::size_t seeds = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            replay.replay(read(entry.path()));
            ++seeds;
        }
    }
    std::printf("%zu seeds, %zu runs\n", seeds, replay.runs());
    return seeds == 0 ? EXIT_FAILURE : EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: fuzz_replay <program> <folder of seeds>\n");
        return 2;
    }
    try {
        for (const Program& program : xel::fuzz::programs()) {
            if (program.name == argv[1]) {
                return replayFolder(program, argv[2]);
            }
        }
        std::fprintf(stderr, "fuzz_replay: there is no program '%s'\n", argv[1]);
        return 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "fuzz_replay: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
