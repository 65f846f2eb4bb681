// Surfaces: creation, locking, cropping, the cache and start-up.
#include "media/surface.h"

#include <gtest/gtest.h>

#include "core/vemowin.h"
#include "surfacetest.h"

TEST(Surface, WidthFiveHasPitchEightLockingLeavesTheRecordAloneAndAbsurdSizesAreRefused) {
  KORSurface *s = surface::SurfaceCreate(5, 3);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ((std::vector{s->width, s->height, s->pitch, s->desc.pitchbytes}), (std::vector{5, 3, 8, 32}));
  surf a;
  ASSERT_TRUE(surface::SurfaceDataLock(s, &a));
  ASSERT_NE(a.bits, nullptr);
  EXPECT_EQ(std::pair(a.width, s->bits), std::pair(5, static_cast<pix32 *>(nullptr)));
  EXPECT_EQ(reinterpret_cast<uintptr_t>(a.bits) % 64, 0u);
  for (int i = 0; i < 8 * 3; ++i) EXPECT_EQ(a.bits[i].word(), 0u);  // created zeroed
  EXPECT_TRUE(surface::SurfaceDataUnlock(&a));
  EXPECT_EQ(a.bits, nullptr);
  EXPECT_EQ(std::pair(surface::SurfaceDelete(s), surface::SurfaceDelete(nullptr)), std::pair(1, 0));
  // The last is over the byte limit.
  for (auto [w, h] : {std::pair{0, 10}, {10, -1}, {100000, 10}, {30000, 30000}})
    EXPECT_EQ(surface::SurfaceCreate(w, h), nullptr) << w << " x " << h;
  EXPECT_EQ(surface::SurfaceDataLock(nullptr, &a), 0);
}

TEST(Surface, CropCopiesTheRectangleOrRefuses) {
  auto s = make_surface(6, 5);
  fill_random(s.get(), 8);
  owned_surface c(surface::SurfaceCrop(s.get(), RECT{2, 1, 6, 5}));
  ASSERT_TRUE(c);
  EXPECT_EQ(std::pair(c->width, c->height), std::pair(4, 4));
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 4; ++x) EXPECT_EQ(at(c.get(), x, y), at(s.get(), x + 2, y + 1));
  // Past the right edge, past the bottom, negative, empty.
  for (RECT r : {RECT{2, 1, 7, 5}, RECT{2, 1, 6, 6}, RECT{-1, 0, 3, 3}, RECT{3, 3, 3, 4}})
    EXPECT_EQ(surface::SurfaceCrop(s.get(), r), nullptr) << r.right << "," << r.bottom;
}

TEST(SurfaceManager, StartsUpWithWorkSurfacesAndLogosAndCachesByKeyAndPattern) {
  std::vector<std::string> texts;
  surface::SetProgressCallback([&texts](const char *t) { texts.emplace_back(t); });
  vemowin context;
  const auto manager = std::make_unique<surface>(&context, nullptr);
  surface::SetProgressCallback(nullptr);
  EXPECT_EQ(texts, (std::vector<std::string>{"Initializing AVI System", "Initializing Direct Draw",
                                             "Initializing Surfaces", "Initializing Internet Access"}));
  EXPECT_TRUE(manager->CheckDirectX600());
  EXPECT_EQ(manager->WaitForVerticalBlank(), 1);  // agrees with CheckDirectX600
  ASSERT_NE(manager->RenderSurface(), nullptr);
  const RECT r = surface::SurfaceGetRect(manager->RenderSurface());
  EXPECT_EQ((std::vector{manager->RenderWidth(), manager->RenderHeight(), manager->WorkSurface()->width,
                         r.right, r.bottom, r.left + r.top}),
            (std::vector{1280, 1024, 1280, 1280, 1024, 0}));
  for (int key : {surface::LOGO_KEY_FIRST, surface::LOGO_KEY_SECOND}) {
    const KORSurface *logo = manager->CacheSurfaceGet(key);
    EXPECT_EQ(logo ? std::pair(logo->width, logo->height) : std::pair(0, 0), std::pair(300, 293)) << key;
  }
  EXPECT_EQ(manager->CacheCount(), 4);

  // Cache keys, replacement and patterns.
  EXPECT_EQ(manager->CacheSurfaceGet(0), nullptr);  // the work surfaces are never found
  auto spare = make_surface(2, 2);
  EXPECT_FALSE(manager->CacheSurfaceInsert(0, spare.get()));  // refused: the caller keeps it
  EXPECT_FALSE(manager->CacheSurfaceInsert(7, nullptr));
  EXPECT_FALSE(manager->CacheSurfaceCreate(0, 4, 4));
  ASSERT_TRUE(manager->CacheSurfaceCreate(555, 4, 4));
  ASSERT_NE(manager->CacheSurfaceGet(555), nullptr);
  const int count = manager->CacheCount();
  ASSERT_TRUE(manager->CacheSurfaceCreate(555, 8, 2));  // replaces (and frees) the first
  EXPECT_EQ(manager->CacheCount(), count);
  EXPECT_EQ(manager->CacheSurfaceGet(555)->width, 8);
  EXPECT_FALSE(manager->CacheSurfaceLoad(556, "/nonexistent/picture.bmp"));
  EXPECT_EQ(manager->CacheSurfaceGet(556), nullptr);
  // A pattern blit without its pattern in the cache falls back to the colour.
  auto target = make_surface(40, 30);
  surf g;
  HDC hdc = surface::SurfaceGetDC(target.get(), &g);
  ASSERT_NE(hdc, nullptr);
  EXPECT_EQ(manager->SurfacePatternBlit(hdc, RECT{0, 0, 10, 10}, 593, 0x606060), 0);
  EXPECT_EQ(std::pair(at(target.get(), 9, 9).word(), at(target.get(), 10, 10).word()),
            std::pair(0x606060u, 0u));
  // With a cached pattern the tiles are anchored at the origin of the target.
  ASSERT_TRUE(manager->CacheSurfaceCreate(593, 7, 5));
  KORSurface *tile = manager->CacheSurfaceGet(593);
  fill_random(tile, 12);
  EXPECT_NE(manager->SurfacePatternBlit(hdc, RECT{3, 4, 40, 30}, 593, 0), 0);
  surface::SurfaceReleaseDC(&g);
  for (int y = 4; y < 30; ++y)
    for (int x = 3; x < 40; ++x) ASSERT_EQ(at(target.get(), x, y), at(tile, x % 7, y % 5)) << x << "," << y;
  EXPECT_EQ(at(target.get(), 2, 20).word(), 0u);  // outside rc nothing is drawn
}
