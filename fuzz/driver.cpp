#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace
{

constexpr int kMutations = 20000;
constexpr size_t kMaxBytes = 400;

using Input = std::vector<uint8_t>;

std::vector<Input> readSeeds(const char* folder)
{
    std::vector<Input> seeds;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        seeds.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return seeds;
}

/// Some edits of a seed: a byte changed, put in, taken out, or a run of another seed put in.
class Mutator
{
  public:
    explicit Mutator(std::vector<Input> seeds) : m_seeds(std::move(seeds)) {}

    Input next()
    {
        Input input = anySeed();
        for (size_t edits = 1 + below(8); edits > 0; --edits) edit(&input);
        if (input.size() > kMaxBytes) input.resize(kMaxBytes);
        return input;
    }

  private:
    size_t below(size_t bound) { return m_random() % bound; }
    const Input& anySeed() { return m_seeds[below(m_seeds.size())]; }

    void edit(Input* input)
    {
        const auto place = input->begin() + static_cast<ptrdiff_t>(below(input->size() + 1));
        const auto byte = static_cast<uint8_t>(m_random());
        switch (below(4)) {
            case 0:
                if (place != input->end()) *place = byte;
                break;
            case 1: input->insert(place, byte); break;
            case 2:
                if (place != input->end()) input->erase(place);
                break;
            default:
                const Input& other = anySeed();
                const size_t from = below(other.size() + 1);
                const size_t count = below(other.size() - from + 1);
                const auto begin = other.begin() + static_cast<ptrdiff_t>(from);
                input->insert(place, begin, begin + static_cast<ptrdiff_t>(count));
        }
    }

    std::vector<Input> m_seeds;
    std::mt19937 m_random{20261124};  // fixed: every run tries the same inputs
};

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2) return std::fprintf(stderr, "usage: %s SEED_FOLDER\n", argv[0]), 2;
    const std::vector<Input> seeds = readSeeds(argv[1]);
    if (seeds.empty()) return std::fprintf(stderr, "no seeds in %s\n", argv[1]), 1;

    // What the code under test says of bad input is not of interest here.
    const int quiet = ::open("/dev/null", O_WRONLY);
    if (quiet < 0 || ::dup2(quiet, 2) < 0) return 1;
    for (const Input& seed : seeds) LLVMFuzzerTestOneInput(seed.data(), seed.size());
    Mutator mutator(seeds);
    for (int i = 0; i < kMutations; ++i) {
        const Input input = mutator.next();
        LLVMFuzzerTestOneInput(input.data(), input.size());
    }
    std::printf("%zu seeds and %d mutations\n", seeds.size(), kMutations);
    return 0;
}
