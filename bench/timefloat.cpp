// GetValue cost on curves of 2, 100 and 100 000 keys, read at sequential times (as playback
// does) and at random times (as scrubbing does).
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "time/timefloat.h"

namespace {

constexpr int kSpacing = 40;  // ms between keys

timefloat MakeCurve(int keys) {
  timefloat tf("IDS_BENCH", 0.0, 1.0, 0.0);
  std::mt19937 rng(1);
  std::uniform_real_distribution<double> value(-0.2, 1.2);
  for (int i = 0; i < keys; ++i) tf.SetValue(i * kSpacing, value(rng));
  return tf;
}

void BM_GetValueSequential(benchmark::State &state) {
  const int keys = static_cast<int>(state.range(0));
  const timefloat tf = MakeCurve(keys);
  const int span = keys * kSpacing;
  int t = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(tf.GetValue(t));
    t += 7;  // a few reads per key interval, like frames of a long clip
    if (t >= span) t = 0;
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_GetValueRandom(benchmark::State &state) {
  const int keys = static_cast<int>(state.range(0));
  const timefloat tf = MakeCurve(keys);
  std::mt19937 rng(2);
  std::uniform_int_distribution<int> pick(-kSpacing, keys * kSpacing + kSpacing);
  std::vector<int> times(4096);
  for (int &t : times) t = pick(rng);
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(tf.GetValue(times[i]));
    i = (i + 1) & (times.size() - 1);
  }
  state.SetItemsProcessed(state.iterations());
}

BENCHMARK(BM_GetValueSequential)->Arg(2)->Arg(100)->Arg(100000);
BENCHMARK(BM_GetValueRandom)->Arg(2)->Arg(100)->Arg(100000);

}  // namespace

BENCHMARK_MAIN();
