// Surfaces: creation, locking, the cache and start-up.
#include "media/surface.h"

#include <gtest/gtest.h>

TEST(Surface, WidthFiveHasPitchEight) {
  KORSurface *s = surface::SurfaceCreate(5, 3);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(s->width, 5);
  EXPECT_EQ(s->height, 3);
  EXPECT_EQ(s->pitch, 8);
  EXPECT_EQ(s->desc.width, 8);
  EXPECT_EQ(s->desc.pitchbytes, 32);
  EXPECT_EQ(s->bits, nullptr);
  surf a;
  ASSERT_TRUE(surface::SurfaceDataLock(s, &a));
  EXPECT_NE(a.bits, nullptr);
  EXPECT_EQ(s->bits, nullptr);  // the record itself never changes by locking
  EXPECT_EQ(reinterpret_cast<uintptr_t>(a.bits) % 64, 0u);
  EXPECT_TRUE(surface::SurfaceDataUnlock(&a));
  EXPECT_EQ(a.bits, nullptr);
  surface::SurfaceDelete(s);
}
