// The keyframed curve against a reference over a sorted map; edits, processing, the file form.
#include "time/timefloat.h"

#include <gtest/gtest.h>

#include <cmath>
#include <climits>
#include <map>
#include <random>

#include "time/memfile.h"

namespace {

// The reference: keys in a sorted map, found by the map's own search.
using keymap = std::map<int, double>;

double Clamp(double v, double lo, double hi) { return v > hi ? hi : v < lo ? lo : v; }

double RefValue(const keymap &k, int t, double lo, double hi, double def, bool stepped) {
  if (k.empty()) return Clamp(def, lo, hi);
  const auto b = k.upper_bound(t);  // the first key after t
  if (b == k.begin()) return Clamp(b->second, lo, hi);
  const auto a = std::prev(b);
  if (b == k.end() || a->first == t || stepped) return Clamp(a->second, lo, hi);
  const double ta = a->first, tb = b->first, tt = t;
  return Clamp(((tt - ta) * b->second + (tb - tt) * a->second) / (tb - ta), lo, hi);
}

// The nearest key time before t (or after it).
bool RefNeighbour(const keymap &k, int t, bool next, int *out) {
  const auto it = next ? k.upper_bound(t) : k.lower_bound(t);
  if (next ? it == k.end() : it == k.begin()) return false;
  *out = next ? it->first : std::prev(it)->first;
  return true;
}

timefloat Curve(const std::vector<std::pair<int, double>> &keys, double lo = 0, double hi = 1) {
  timefloat tf("c", lo, hi, 0);
  for (const auto &[t, v] : keys) tf.SetValue(t, v);
  return tf;
}

void ExpectSameKeys(const timefloat &tf, const keymap &k) {
  std::vector<std::pair<int, double>> got;
  for (int i = 0; i < tf.HasValues(); ++i) got.emplace_back(tf.Keys()[i].time, tf.Keys()[i].value);
  EXPECT_EQ(got, (std::vector<std::pair<int, double>>(k.begin(), k.end())));
}

// Times worth probing: every key time, its neighbours, midpoints and far outside.
std::vector<int> ProbeTimes(const keymap &k, std::mt19937 &rng) {
  std::vector<int> times = {INT_MIN, INT_MIN + 1, -1, 0, 1, INT_MAX - 1, INT_MAX};
  int prev = INT_MIN;
  for (const auto &[time, v] : k) {
    for (int d : {-2, -1, 0, 1, 2}) times.push_back(time + d);  // keys lie within +-100000
    if (prev != INT_MIN) times.push_back((prev + time) / 2);
    prev = time;
  }
  std::uniform_int_distribution<int> any(-200000, 200000);
  for (int i = 0; i < 20; ++i) times.push_back(any(rng));
  return times;
}

TEST(TimefloatLookup, MatchesTheReferenceOnRandomKeySetsAfterAKill) {
  std::mt19937 rng(12345);
  // Every count up to 140 (0: the only key killed) and a few larger ones: the search depends on it.
  std::vector<int> counts = {255, 256, 257, 511, 1000, 1023, 1025};
  for (int n = 0; n <= 140; ++n) counts.push_back(n);
  for (int n : counts) {
    for (bool stepped : {false, true}) {
      timefloat tf("IDS_TEST", -0.5, 0.75, 0.25);
      if (stepped) tf.SetKind(TF_FLAG_STEPPED);
      keymap ref;
      while (static_cast<int>(ref.size()) < n + 1) {
        const int t = std::uniform_int_distribution<int>(-100000, 100000)(rng);
        ASSERT_EQ(tf.SetValue(t, ref[t] = std::uniform_real_distribution<double>(-1.0, 1.5)(rng)), 1);
      }
      // One key more, taken out anywhere: the rest close up behind it.
      const int gone = std::next(ref.begin(), int(rng() % ref.size()))->first;
      ASSERT_EQ(tf.KillValue(gone), 1);
      ASSERT_EQ(tf.KillValue(gone), 0);
      ref.erase(gone);
      ExpectSameKeys(tf, ref);
      for (int t : ProbeTimes(ref, rng)) {
        SCOPED_TRACE(::testing::Message() << "n=" << n << " t=" << t);
        ASSERT_EQ(tf.GetValue(t), RefValue(ref, t, -0.5, 0.75, 0.25, stepped));
        ASSERT_EQ(tf.CheckValue(t), ref.count(t) == 1);
        for (bool next : {false, true}) {
          int got = 0, want = 0;
          const bool found = next ? tf.GetNextValueTime(t, &got) : tf.GetPrevValueTime(t, &got);
          ASSERT_EQ(std::pair(found, got), (std::pair{RefNeighbour(ref, t, next, &want), want}));
        }
      }
    }
  }
}

TEST(TimefloatValue, WorkedExamples) {
  EXPECT_EQ(timefloat("v", 0.0, 1.0, 3.0).GetValue(0), 1.0);  // the default is clamped too
  timefloat tf = Curve({{0, 0.0}, {100, 1.0}});
  EXPECT_EQ(std::vector({tf.GetValue(25), tf.GetValue(-10), tf.GetValue(500)}),
            std::vector({0.25, 0.0, 1.0}));
  tf.SetKind(TF_FLAG_STEPPED);
  EXPECT_EQ(std::vector({tf.GetValue(25), tf.GetValue(100)}), std::vector({0.0, 1.0}));

  // Stored as given, read clamped; a single key holds everywhere.
  timefloat loud = Curve({{10, 5.0}});
  EXPECT_EQ(std::vector({loud.Keys()[0].value, loud.GetValue(10), loud.GetValue(-1000)}),
            std::vector({5.0, 1.0, 1.0}));
  // No number reads as the minimum: a damaged key, or inf - inf between keys at the double range's ends.
  EXPECT_EQ(std::vector({Curve({{0, std::nan("")}}).GetValue(0), Curve({{0, 1e308}, {10, -1e308}}).GetValue(5)}),
            std::vector({0.0, 0.0}));
  // Keys at both ends of the time range: the differences exceed an int32.
  EXPECT_DOUBLE_EQ(Curve({{INT_MIN, 0.0}, {INT_MAX, 1.0}}).GetValue(0), 2147483648.0 / 4294967295.0);

  timefloat range = Curve({{90, 1}, {40, 2}}, 0, 3);
  EXPECT_EQ(std::vector({range.GetLoIndex(), range.GetHiIndex()}), std::vector({40, 90}));  // times
  double lo = 0, hi = 0;
  EXPECT_EQ((std::tuple{range.GetBoundValues(&lo, &hi), lo, hi}), std::tuple(true, 1.0, 2.0));
}

TEST(TimefloatEdit, SingleValueCurveKeepsOneKey) {
  timefloat tf;
  tf.SetKind(TF_FLAG_SINGLE | TF_FLAG_STEPPED | TF_KIND_SWITCH);
  // The first key is added where asked; later ones change it in place.
  EXPECT_EQ(std::vector({tf.SetValue(500, 1.0), tf.SetValue(900, 0.0)}), std::vector({1, 0}));
  ExpectSameKeys(tf, {{500, 0.0}});
  tf.Commit();
  tf.SetValue(0, 1.0);
  tf.Revert();
  EXPECT_EQ(tf.GetValue(0), 0.0);
}

TEST(TimefloatEdit, CapacityGrowsByHundredsAndCopiesOwnTheirKeys) {
  timefloat tf;
  for (int t = 0; t < 99; ++t) tf.SetValue(t, 0);
  EXPECT_EQ(tf.GetCapacity(), 100);
  tf.SetValue(99, 0);  // room is made while 99 keys fill 100 slots
  EXPECT_EQ(tf.GetCapacity(), 200);
  for (int t = 100; t < 1000; ++t) tf.SetValue(t, 0);
  timefloat copy(tf), assigned;
  EXPECT_EQ(std::pair(copy.GetCapacity(), copy.HasValues()), std::pair(1100, 1000));
  copy.SetValue(5, 0.5);
  assigned = copy;
  EXPECT_EQ(std::pair(tf.GetValue(5), assigned.GetValue(5)), std::pair(0.0, 0.5));  // each owns its keys
}

TEST(TimefloatEdit, PendingEditsRevertAndCommit) {
  timefloat tf = Curve({{10, 0.1}, {20, 0.2}});
  tf.Commit();
  EXPECT_FALSE(tf.IsChanged());
  tf.SetValue(10, 0.5);
  tf.SetValue(10, 0.7);  // the saved value stays the committed one
  tf.SetValue(15, 0.9);
  EXPECT_EQ(std::tuple(tf.Keys()[0].state, tf.Keys()[0].saved, tf.Keys()[1].state, tf.IsChanged()),
            std::tuple(int32_t{TF_KEY_MODIFIED}, 0.1, int32_t{TF_KEY_ADDED}, true));
  tf.Revert();
  ExpectSameKeys(tf, {{10, 0.1}, {20, 0.2}});
  EXPECT_FALSE(tf.IsChanged());

  // Several additions around committed keys all go; KillValue is not undone.
  for (int t : {5, 25, 12}) tf.SetValue(t, 1);
  tf.KillValue(20);
  tf.Revert();
  ExpectSameKeys(tf, {{10, 0.1}});
  tf.SetValue(10, 0.3);
  tf.Commit();
  tf.Revert();
  ExpectSameKeys(tf, {{10, 0.3}});
}

TEST(TimefloatEdit, SetCopiesKeysAsAdditions) {
  timefloat a = Curve({{1, 0.1}, {2, 0.2}}), b = Curve({{9, 0.9}});
  b.Commit();
  EXPECT_EQ((std::tuple{b.Set(&a), b.Keys()[0].state, b.Set(&b)}), std::tuple(1, int32_t{TF_KEY_ADDED}, 1));
  ExpectSameKeys(b, {{1, 0.1}, {2, 0.2}});
  EXPECT_EQ((std::pair{b.Reset(), b.HasValues()}), std::pair(1, 0));
}

TEST(TimefloatProcess, ScaleInvertNormalize) {
  timefloat tf("p", 0, 1, 0);
  EXPECT_EQ((std::pair{tf.ProcessInvert(), tf.ProcessNormalize()}), std::pair(false, false));  // no keys
  tf = Curve({{0, 0.25}, {10, 0.5}});
  tf.Commit();
  // An empty source or target range: nothing happens.
  EXPECT_EQ((std::vector{tf.ProcessScaleValues(1, 1, 0, 1), tf.ProcessScaleValues(0, 1, 1, 0), tf.IsChanged()}),
            std::vector({false, false, false}));

  EXPECT_TRUE(tf.ProcessScaleValues(0, 1, 2, 6));  // 2 + v * 4
  ExpectSameKeys(tf, {{0, 3.0}, {10, 4.0}});
  EXPECT_EQ(std::pair(tf.Keys()[0].state, tf.Keys()[0].saved), std::pair(int32_t{TF_KEY_MODIFIED}, 0.25));
  tf.Revert();
  EXPECT_TRUE(tf.ProcessInvert());  // 1 - (v - 0)
  ExpectSameKeys(tf, {{0, 0.75}, {10, 0.5}});
  tf.SetProperties(-1, 1, 0);
  EXPECT_TRUE(tf.ProcessInvert());  // 1 - (v + 1)
  ExpectSameKeys(tf, {{0, -0.75}, {10, -0.5}});
  tf.SetValue(20, 0.25);  // values -0.75, -0.5, 0.25 onto [-1, 1]: slope 2
  EXPECT_TRUE(tf.ProcessNormalize());
  ExpectSameKeys(tf, {{0, -1.0}, {10, -0.5}, {20, 1.0}});
  EXPECT_FALSE(Curve({{0, 0.3}, {5, 0.3}}).ProcessNormalize());
}

TEST(TimefloatProcess, Release) {
  EXPECT_FALSE(Curve({}).ProcessReleaseForward(100));
  timefloat tf = Curve({{0, 1.0}, {10, 0.0}});
  tf.Commit();
  EXPECT_TRUE(tf.ProcessReleaseForward(100));  // 1 - 1 * 10 / 100
  tf.Revert();                                 // not a pending edit
  ExpectSameKeys(tf, {{0, 1.0}, {10, 0.9}});

  // Each step sees the released value before it; values above the range count as the maximum.
  // 5 reads as 2; floors 2 - 2 * 20 / 200 = 1.8 and 1.8 - 2 * 10 / 200 = 1.7; the rise passes.
  timefloat chain = Curve({{0, 5.0}, {20, 0.0}, {30, 0.0}, {40, 1.9}}, 0, 2);
  EXPECT_TRUE(chain.ProcessReleaseForward(200));
  ExpectSameKeys(chain, {{0, 5.0}, {20, 2.0 - 0.2}, {30, 2.0 - 0.2 - 0.1}, {40, 1.9}});  // 2 * 20 / 200, 2 * 10 / 200
  // Backward: a rise towards the end is limited from the last key down.
  timefloat back = Curve({{0, 0.0}, {10, 0.0}, {20, 1.0}});
  EXPECT_TRUE(back.ProcessReleaseBackward(100));
  ExpectSameKeys(back, {{0, (1.0 - 10.0 / 100) - 10.0 / 100}, {10, 1.0 - 10.0 / 100}, {20, 1.0}});
  // Both ways: the forward pass lowers the fall after the peak, the backward one the rise.
  timefloat both = Curve({{0, 0.0}, {10, 1.0}, {20, 0.0}});
  EXPECT_TRUE(both.ProcessReleaseBidirectional(50));
  ExpectSameKeys(both, {{0, 1.0 - 10.0 / 50}, {10, 1.0}, {20, 1.0 - 10.0 / 50}});
  EXPECT_TRUE(both.ProcessReleaseForward(0));  // no limit at all
}

TEST(TimefloatProcess, MapTo) {
  timefloat dst = Curve({{1, 7}}, -20, 20);
  EXPECT_FALSE(Curve({}).MapTo(&dst, 0));
  timefloat src = Curve({{10, 0.5}, {20, 1.0}});
  EXPECT_FALSE(src.MapTo(&dst, 0, 1, 1));
  EXPECT_TRUE(src.MapTo(&dst, -15));  // the key at 10 - 15 is dropped
  ExpectSameKeys(dst, {{5, -20.0 + 1.0 * 40.0 / 1.0}});
  EXPECT_TRUE(src.MapTo(&dst, 5, 0, 2));  // 0.5 of [0, 2] -> -20 + 0.25 * 40
  ExpectSameKeys(dst, {{15, -10.0}, {25, 0.0}});
  EXPECT_FALSE(src.MapTo(&dst, -100));  // nothing arrives
  timefloat narrow("n", 1, 1, 0);
  // Keys arrive, but the range cannot take them.
  EXPECT_EQ((std::pair{src.MapTo(&narrow, 0), narrow.HasValues()}), std::pair(false, 2));
  EXPECT_TRUE(src.MapTo(&src, 10, 0, 1));  // onto itself, shifted
  ExpectSameKeys(src, {{20, 0.5}, {30, 1.0}});
}

// A curve record: the header (`size` bytes; count and maximum 2 where it reaches them), then keys.
bytes CurveBytes(int32_t count, const std::vector<std::pair<int32_t, double>> &keys, uint32_t size = 368) {
  bytes b(size, 0);
  Put<uint32_t>(b, 0, size);
  if (size >= 8) Put<int32_t>(b, 4, count);
  if (size >= 24) Put<double>(b, 16, 2.0);
  b.resize(size);
  for (const auto &[t, v] : keys) {
    const size_t at = b.size();
    Put<int32_t>(b, at, t);
    Put<uint32_t>(b, at + 4, 0xDEADBEEF);  // not interpreted
    Put<double>(b, at + 8, v);
  }
  return b;
}

TEST(TimefloatFile, SaveWritesTheRecordsByteForByte) {
  timefloat tf("IDS_VOLUME", -1.0, 2.0, 0.5);
  tf.SetID(123);
  tf.SetKind(72);
  tf.Header().reserved1[3] = 0xAB;
  tf.Header().reserved2[7] = 6.25;
  tf.SetValue(40, 0.125);
  tf.SetValue(-3, 1.5);
  int ok = 0;
  const bytes b = SavedBytes([&](FILE *f) { return tf.Save(f); }, &ok);
  ASSERT_EQ(std::pair(ok, b.size()), std::pair(1, size_t{368 + 2 * 16}));
  // Size, count, flags, ID; the keys' times and their zeroed padding.
  EXPECT_EQ(Fields<int32_t>(b, {0, 4, 288, 300, 368, 372, 384}),
            (std::vector<int32_t>{368, 2, 72, 123, -3, 0, 40}));
  // Minimum, maximum, default, the last reserved value, the keys' values.
  EXPECT_EQ(Fields<double>(b, {8, 16, 24, 304 + 7 * 8, 376, 392}),
            (std::vector<double>{-1.0, 2.0, 0.5, 6.25, 1.5, 0.125}));
  EXPECT_EQ(std::pair(std::string(reinterpret_cast<const char *>(b.data() + 32)), b[292 + 3]),
            std::pair(std::string("IDS_VOLUME"), uint8_t{0xAB}));

  // Loaded back, the curve writes the same bytes (header and reserved fields carried); nothing pending.
  timefloat back;
  EXPECT_EQ(back.Load(FileWith(b).get()), 1);
  EXPECT_EQ(SavedBytes([&](FILE *f) { return back.Save(f); }), b);
  EXPECT_EQ((std::tuple{back.GetFlags(), back.Keys()[0].state, back.IsChanged()}),
            std::tuple(72u, int32_t{TF_KEY_COMMITTED}, false));
}

TEST(TimefloatFile, HeaderSizesAndKeysInAnyOrder) {
  timefloat tf;
  tf.SetValue(1, 1);
  // A longer header is refused and the curve stays empty; so is one cut short.
  EXPECT_EQ((std::pair{tf.Load(FileWith(CurveBytes(0, {}, 369)).get()), tf.HasValues()}), std::pair(0, 0));
  for (const bytes &cut : {bytes{}, bytes{4, 0, 0, 0}, bytes{2, 0}})
    EXPECT_EQ(tf.Load(FileWith(cut).get()), 0);
  // A shorter one reads zero-extended: here it ends after the maximum.
  EXPECT_EQ(tf.Load(FileWith(CurveBytes(2, {{5, 0.5}, {1, 3.0}}, 24)).get()), 1);
  EXPECT_EQ(std::tuple(tf.GetMinimum(), tf.GetMaximum(), std::string(tf.GetName())), std::tuple(0.0, 2.0, ""));
  ExpectSameKeys(tf, {{1, 3.0}, {5, 0.5}});
  // Keys in any order load as if set in file order.
  EXPECT_EQ(tf.Load(FileWith(CurveBytes(4, {{50, 0.1}, {10, 0.2}, {50, 0.3}, {30, 0.4}})).get()), 1);
  ExpectSameKeys(tf, {{10, 0.2}, {30, 0.4}, {50, 0.3}});
  // More keys announced than stored: the stored ones load; a negative count loads none.
  EXPECT_EQ(tf.Load(FileWith(CurveBytes(1000000000, {{7, 0.7}})).get()), 1);
  ExpectSameKeys(tf, {{7, 0.7}});
  EXPECT_EQ((std::pair{tf.Load(FileWith(CurveBytes(-5, {{7, 0.7}})).get()), tf.HasValues()}), std::pair(1, 0));
  // A single-value curve keeps its first key's time and the last value.
  bytes single = CurveBytes(3, {{9, 0.1}, {2, 0.2}, {4, 0.3}});
  Put<uint32_t>(single, 288, TF_FLAG_SINGLE);
  EXPECT_EQ(tf.Load(FileWith(single).get()), 1);
  ExpectSameKeys(tf, {{9, 0.3}});
  // A name without its terminating zero is cut, never read past.
  bytes noterm = CurveBytes(0, {});
  std::memset(noterm.data() + 32, 'A', 256);
  EXPECT_EQ((std::pair{tf.Load(FileWith(noterm).get()), std::string(tf.GetName())}),
            std::pair(1, std::string(255, 'A')));
}

TEST(TimefloatFile, EveryTruncationLoadsCleanly) {
  timefloat tf("IDS_CUT", 0, 1, 0);
  for (int t = 0; t < 5; ++t) tf.SetValue(t * 100, t / 4.0);
  const bytes whole = SavedBytes([&](FILE *f) { return tf.Save(f); });
  for (size_t n = 0; n <= whole.size(); ++n) {
    timefloat back;
    const int r = back.Load(FileWith(bytes(whole.begin(), whole.begin() + static_cast<long>(n))).get());
    EXPECT_EQ(std::pair(r, back.HasValues()), std::pair(n < 368 ? 0 : 1, n < 368 ? 0 : int(n - 368) / 16)) << n;
  }
}

}  // namespace
