// Size-prefixed record I/O: the versioning rules every file format of the engine relies on.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <vector>

#include "core/vemo.h"
#include "time/memfile.h"

namespace {

struct record_v2 {
  uint32_t size;
  int32_t a;
  int32_t b;
  int32_t c;
};

TEST(SizedRecords, WriteThenReadRoundTripsLittleEndianBytes) {
  record_v2 r{0, 1, -2, 0x01020304};
  int ok = 0;
  const bytes raw = SavedBytes([&](FILE *f) { return vemo::SizedDataWrite(f, &r, sizeof r); }, &ok);
  ASSERT_EQ(ok, 1);
  EXPECT_EQ(r.size, 16u);  // the writer stores the size in the record
  EXPECT_EQ(raw, (bytes{16, 0, 0, 0, 1, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF, 4, 3, 2, 1}));
  record_v2 back;
  ASSERT_EQ(vemo::SizedDataRead(FileWith(raw).get(), &back, sizeof back), 1);
  EXPECT_EQ(std::vector({back.a, back.b, back.c}), std::vector({1, -2, 0x01020304}));
}

TEST(SizedRecords, OlderShorterLeavesNewFieldsZeroNewerLongerIsRefusedAfterItsSize) {
  record_v2 r;
  std::memset(&r, 0x55, sizeof r);
  file_ptr older = FileWith({12, 0, 0, 0, 7, 0, 0, 0, 9, 0, 0, 0});
  ASSERT_EQ(vemo::SizedDataRead(older.get(), &r, sizeof r), 1);
  // The caller sees which version was read.
  EXPECT_EQ(std::vector({r.size, uint32_t(r.a), uint32_t(r.b), uint32_t(r.c)}), std::vector<uint32_t>({12, 7, 9, 0}));
  std::memset(&r, 0x55, sizeof r);
  file_ptr newer = FileWith({20, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0});
  // Only the size is consumed, and the record is left zero.
  EXPECT_EQ((std::pair{vemo::SizedDataRead(newer.get(), &r, sizeof r), std::ftell(newer.get())}), std::pair(0, 4L));
  const record_v2 zero{};
  EXPECT_EQ(std::memcmp(&r, &zero, sizeof r), 0);
}

TEST(SizedRecords, SizeFourAndTruncatedBodiesFail) {
  record_v2 r;
  auto read = [&r](const bytes &b) { return vemo::SizedDataRead(FileWith(b).get(), &r, sizeof r); };
  EXPECT_EQ(read({4, 0, 0, 0}), 0);
  EXPECT_EQ(read({16, 0, 0, 0, 1, 0, 0, 0, 2, 0}), 0);
  EXPECT_EQ(r.size, 16u);  // the stored size stays visible after a failed body read
  EXPECT_EQ(read({}), 0);
}

}  // namespace
