// Helpers of the media tests: owned surfaces, pixel access and random fills.
#pragma once

#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "media/surface.h"
#include "support/mediafile.h"

using owned_surface = std::unique_ptr<KORSurface, fixtures::closer<&surface::SurfaceDelete>>;

inline owned_surface make_surface(int w, int h) { return owned_surface(surface::SurfaceCreate(w, h)); }

// Direct pixel access for the tests (the pixel block is the memory a lock hands out).
inline pix32 &at(KORSurface *s, int x, int y) { return s->dds[size_t(s->pitch) * y + x]; }

inline void fill_random(KORSurface *s, uint32_t seed) {
  std::mt19937 rng(seed);
  for (int y = 0; y < s->height; ++y)
    for (int x = 0; x < s->pitch; ++x) at(s, x, y) = pix32::from_word(uint32_t(rng()));
}

// The visible pixels as 0xAARRGGBB words, top row first.
inline std::vector<uint32_t> Words(KORSurface *s) {
  std::vector<uint32_t> words;
  for (int y = 0; y < s->height; ++y)
    for (int x = 0; x < s->width; ++x) words.push_back(at(s, x, y).word());
  return words;
}

// A surface of the same size holding the same block, padding included.
inline owned_surface copy_block(KORSurface *s) {
  owned_surface c = make_surface(s->width, s->height);
  for (int y = 0; y < s->height; ++y)
    for (int x = 0; x < s->pitch; ++x) at(c.get(), x, y) = at(s, x, y);
  return c;
}

// Every pixel of the whole allocated block, padding included, compared.
inline bool same_block(KORSurface *a, KORSurface *b) {
  if (a->pitch != b->pitch || a->height != b->height) return false;
  for (int y = 0; y < a->height; ++y)
    for (int x = 0; x < a->pitch; ++x)
      if (!(at(a, x, y) == at(b, x, y))) return false;
  return true;
}
