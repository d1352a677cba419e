// Runs a fuzz program's seeds without libFuzzer: each seed whole, each of its beginnings, and each of its
// bytes changed. A folder without seeds is a failure, so that a lost corpus is noticed.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Bytes = std::vector<std::uint8_t>;

// Beyond this, a seed is cut and changed at this many evenly spread places only.
constexpr std::size_t kMostPlaces = 1024;

std::size_t runs = 0;

void run(const Bytes& bytes) {
    // An exact copy on the heap: the address sanitizer then sees a read past the end.
    const Bytes exact(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(exact.data(), exact.size());
    ++runs;
}

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

Bytes read(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

int replayFolder(const std::filesystem::path& folder) {
    std::size_t seeds = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            replay(read(entry.path()));
            ++seeds;
        }
    }
    std::printf("%zu seeds, %zu runs\n", seeds, runs);
    return seeds == 0 ? EXIT_FAILURE : EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <folder of seeds>\n", argc > 0 ? argv[0] : "replay");
        return EXIT_FAILURE;
    }
    try {
        return replayFolder(argv[1]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "replay: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
