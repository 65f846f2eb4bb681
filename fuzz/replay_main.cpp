// Replays a fuzz target's seed corpus under ctest, so every parser's target runs on each check.
// Each seed is fed as is, cut at a spread of lengths and with bytes flipped, deterministically.
// A small corpus gets 128 cuts and 64 flips a seed; a large one (a fuzzing campaign's) shares
// a fixed number of variants among its seeds, so a check's time does not grow with it.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

void feed(const std::vector<uint8_t> &bytes) {
  // A copy of exactly the right length, so reads past the end show up under AddressSanitizer.
  std::vector<uint8_t> copy(bytes);
  LLVMFuzzerTestOneInput(copy.empty() ? nullptr : copy.data(), copy.size());
}

constexpr size_t kVariants = 16384;  // cuts and flips of the whole corpus, at most

void replay(const std::vector<uint8_t> &seed, size_t cuts, int flips) {
  feed(seed);
  const size_t n = seed.size();
  const size_t cut_step = n > 2 * cuts ? n / cuts : 1;
  for (size_t len = 0; len < n; len += cut_step) feed(std::vector<uint8_t>(seed.begin(), seed.begin() + len));
  uint32_t state = 0x2545F491u;
  for (int round = 0; round < flips && n > 0; ++round) {
    std::vector<uint8_t> mutated(seed);
    for (int k = 0; k < 1 + round % 4; ++k) {
      state = state * 1664525u + 1013904223u;
      mutated[(state >> 8) % n] ^= static_cast<uint8_t>(1u << (state % 8) | (round & 0xF0));
    }
    feed(mutated);
  }
}

}  // namespace

int main(int argc, char **argv) {
  std::vector<std::filesystem::path> seeds;
  for (int i = 1; i < argc; ++i) {
    std::error_code ec;
    if (!std::filesystem::is_directory(argv[i], ec)) continue;
    for (const auto &entry : std::filesystem::directory_iterator(argv[i]))
      if (entry.is_regular_file()) seeds.push_back(entry.path());
  }
  std::sort(seeds.begin(), seeds.end());
  const size_t share = seeds.empty() ? 1 : std::max<size_t>(1, kVariants / seeds.size());
  const size_t cuts = std::clamp<size_t>(share * 2 / 3, 4, 128);
  const int flips = int(std::clamp<size_t>(share / 3, 4, 64));
  for (const std::filesystem::path &path : seeds) {
    std::ifstream in(path, std::ios::binary);
    replay(std::vector<uint8_t>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>()), cuts,
           flips);
  }
  feed({});
  std::printf("replayed %zu seeds, each cut %zu ways and flipped %d times\n", seeds.size(), cuts, flips);
  return 0;
}
