// Size-prefixed record I/O: the versioning rules every file format of the engine relies on.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

#include "core/vemo.h"

namespace {

struct record_v2 {
  uint32_t size;
  int32_t a;
  int32_t b;
  int32_t c;
};

// A memory file holding exactly the given bytes.
FILE *MemoryFile(const void *bytes, size_t n, std::vector<char> &storage) {
  storage.assign(static_cast<const char *>(bytes), static_cast<const char *>(bytes) + n);
  storage.push_back(0);  // fmemopen needs a non-empty buffer even for 0 bytes
  return fmemopen(storage.data(), n == 0 ? 1 : n, "rb");
}

TEST(SizedRecords, WriteThenReadRoundTripsLittleEndianBytes) {
  record_v2 r{0, 1, -2, 0x01020304};
  FILE *f = std::tmpfile();
  ASSERT_EQ(vemo::SizedDataWrite(f, &r, sizeof r), 1);
  EXPECT_EQ(r.size, 16u);  // the writer stores the size in the record
  ASSERT_EQ(std::ftell(f), 16);
  std::rewind(f);
  unsigned char raw[16];
  ASSERT_EQ(std::fread(raw, 1, 16, f), 16u);
  const unsigned char expect[16] = {16, 0, 0, 0, 1, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF, 4, 3, 2, 1};
  EXPECT_EQ(std::memcmp(raw, expect, 16), 0);
  std::rewind(f);
  record_v2 back;
  ASSERT_EQ(vemo::SizedDataRead(f, &back, sizeof back), 1);
  EXPECT_EQ(back.a, 1);
  EXPECT_EQ(back.b, -2);
  EXPECT_EQ(back.c, 0x01020304);
  std::fclose(f);
}

TEST(SizedRecords, OlderShorterRecordLeavesNewFieldsZero) {
  const unsigned char older[12] = {12, 0, 0, 0, 7, 0, 0, 0, 9, 0, 0, 0};
  std::vector<char> storage;
  FILE *f = MemoryFile(older, sizeof older, storage);
  record_v2 r;
  std::memset(&r, 0x55, sizeof r);
  ASSERT_EQ(vemo::SizedDataRead(f, &r, sizeof r), 1);
  EXPECT_EQ(r.size, 12u);  // the caller sees which version was read
  EXPECT_EQ(r.a, 7);
  EXPECT_EQ(r.b, 9);
  EXPECT_EQ(r.c, 0);
  std::fclose(f);
}

TEST(SizedRecords, NewerLongerRecordIsRefusedAfterItsSize) {
  const unsigned char newer[20] = {20, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0};
  std::vector<char> storage;
  FILE *f = MemoryFile(newer, sizeof newer, storage);
  record_v2 r;
  std::memset(&r, 0x55, sizeof r);
  EXPECT_EQ(vemo::SizedDataRead(f, &r, sizeof r), 0);
  EXPECT_EQ(std::ftell(f), 4);  // only the size was consumed
  const record_v2 zero{};
  EXPECT_EQ(std::memcmp(&r, &zero, sizeof r), 0);
  std::fclose(f);
}

TEST(SizedRecords, SizeFourAndTruncatedBodiesFail) {
  record_v2 r;
  auto read = [&r](std::vector<unsigned char> bytes) {
    std::vector<char> storage;
    FILE *f = MemoryFile(bytes.data(), bytes.size(), storage);
    const int ok = vemo::SizedDataRead(f, &r, sizeof r);
    std::fclose(f);
    return ok;
  };
  EXPECT_EQ(read({4, 0, 0, 0}), 0);
  EXPECT_EQ(read({16, 0, 0, 0, 1, 0, 0, 0, 2, 0}), 0);
  EXPECT_EQ(r.size, 16u);  // the stored size stays visible after a failed body read
  EXPECT_EQ(read({}), 0);
}

}  // namespace
