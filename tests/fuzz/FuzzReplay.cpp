// Runs a fuzz entry point without libFuzzer: every file of a seed corpus, then
// a fixed number of deterministic mutations of them, so that every build and
// platform exercises the parser's error paths quickly and reproducibly.
//
// Usage: <program> CORPUS_DIRECTORY [MUTATIONS]

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Bytes = std::vector<std::uint8_t>;

// xorshift64*: the same sequence on every platform.
class Random {
public:
    std::uint64_t next() {
        state_ ^= state_ >> 12;
        state_ ^= state_ << 25;
        state_ ^= state_ >> 27;
        return state_ * 0x2545F4914F6CDD1DULL;
    }
    std::size_t below(std::size_t bound) { return bound == 0 ? 0 : next() % bound; }

private:
    std::uint64_t state_ = 0x9E3779B97F4A7C15ULL;
};

// Values that sit on the edges of the reader's checks.
constexpr std::uint32_t kInteresting[] = {
    0,      1,       2,          3,          7,          8,          16,        18,
    22,     24,      40,         0x7F,       0x80,       0xFF,       0x100,     0xFFFE,
    0xFFFF, 0x10000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFF0, 0xFFFFFFFE, 0xFFFFFFFF};

void mutate(Bytes& bytes, const std::vector<Bytes>& seeds, Random& random) {
    const std::size_t kind = random.below(4);
    if (kind == 0 && !bytes.empty()) {  // flip a bit
        bytes[random.below(bytes.size())] ^= static_cast<std::uint8_t>(1u << random.below(8));
    } else if (kind == 1) {  // an edge value, or about the input's size, into a field of 1, 2 or 4
        const std::size_t width = std::size_t{1} << random.below(3);
        std::uint32_t value = kInteresting[random.below(std::size(kInteresting))];
        if (random.below(4) == 0) {
            value = static_cast<std::uint32_t>(bytes.size() + random.below(9) - 4);
        }
        if (bytes.size() >= width) {
            const std::size_t at = random.below(bytes.size() - width + 1);
            for (std::size_t i = 0; i < width; ++i) {
                bytes[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
            }
        }
    } else if (kind == 2) {  // cut the end off
        bytes.resize(random.below(bytes.size() + 1));
    } else {  // splice in a piece of a seed, which may repeat or move a chunk
        const Bytes& other = seeds[random.below(seeds.size())];
        if (!other.empty()) {
            const std::size_t from = random.below(other.size());
            const std::size_t count = 1 + random.below(other.size() - from);
            const auto at = static_cast<std::ptrdiff_t>(random.below(bytes.size() + 1));
            bytes.insert(bytes.begin() + at, other.begin() + static_cast<std::ptrdiff_t>(from),
                         other.begin() + static_cast<std::ptrdiff_t>(from + count));
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s CORPUS_DIRECTORY [MUTATIONS]\n", argv[0]);
        return 2;
    }
    const long mutations = argc > 2 ? std::strtol(argv[2], nullptr, 10) : 20000;

    std::vector<std::filesystem::path> paths;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
        if (entry.is_regular_file()) {
            paths.push_back(entry.path());
        }
    }
    std::sort(paths.begin(), paths.end());  // directory order differs between platforms
    std::vector<Bytes> seeds;
    for (const auto& path : paths) {
        std::ifstream in(path, std::ios::binary);
        seeds.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        LLVMFuzzerTestOneInput(seeds.back().data(), seeds.back().size());
    }
    if (seeds.empty()) {
        std::fprintf(stderr, "no seed files in %s\n", argv[1]);
        return 2;
    }

    Random random;
    for (long i = 0; i < mutations; ++i) {
        Bytes bytes = seeds[random.below(seeds.size())];
        const std::size_t rounds = 1 + random.below(4);
        for (std::size_t round = 0; round < rounds; ++round) {
            mutate(bytes, seeds, random);
        }
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    std::printf("%zu seeds and %ld mutations ran\n", seeds.size(), mutations);
    return 0;
}
