// Replays a fuzz target's seed corpus under ctest, so every parser's target runs on each check.
// Each seed is fed as is, cut at a spread of lengths and with bytes flipped, deterministically.
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

void replay(const std::vector<uint8_t> &seed) {
  feed(seed);
  const size_t n = seed.size();
  const size_t cut_step = n > 256 ? n / 128 : 1;
  for (size_t len = 0; len < n; len += cut_step) feed(std::vector<uint8_t>(seed.begin(), seed.begin() + len));
  uint32_t state = 0x2545F491u;
  for (int round = 0; round < 64 && n > 0; ++round) {
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
  size_t seeds = 0;
  for (int i = 1; i < argc; ++i) {
    std::error_code ec;
    if (!std::filesystem::is_directory(argv[i], ec)) continue;
    for (const auto &entry : std::filesystem::directory_iterator(argv[i])) {
      if (!entry.is_regular_file()) continue;
      std::ifstream in(entry.path(), std::ios::binary);
      std::vector<uint8_t> seed((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
      replay(seed);
      ++seeds;
    }
  }
  feed({});
  std::printf("replayed %zu seeds\n", seeds);
  return 0;
}
