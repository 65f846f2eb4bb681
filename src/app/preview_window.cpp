// The preview window: SDL window, renderer, picture and status textures.
#include "app/preview_window.h"

#include "app/imagewrite.h"
#include "media/dc.h"
#include "media/surface.h"

previewwindow::~previewwindow() {
  if (strip) SDL_DestroyTexture(strip);
  if (picture) SDL_DestroyTexture(picture);
  if (renderer) SDL_DestroyRenderer(renderer);
  if (window) SDL_DestroyWindow(window);
}

bool previewwindow::Open(const std::string &t, int w, int h, std::string *error) {
  title = t;
  window = SDL_CreateWindow(title.c_str(), SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED, w,
                            h + kStatusHeight, SDL_WINDOW_RESIZABLE);
  if (window) renderer = SDL_CreateRenderer(window, -1, SDL_RENDERER_ACCELERATED);
  if (window && !renderer) renderer = SDL_CreateRenderer(window, -1, SDL_RENDERER_SOFTWARE);
  if (!window || !renderer) {
    if (error) *error = SDL_GetError();
    return false;
  }
  SDL_SetHint(SDL_HINT_RENDER_SCALE_QUALITY, "linear");
  return true;
}

void previewwindow::BlitRoot(KORSurface *p) {
  if (!p || !renderer) return;
  if (!picture || picturew != p->width || pictureh != p->height) {
    if (picture) SDL_DestroyTexture(picture);
    // pix32 is blue, green, red, alpha in memory: ARGB8888 read as a 32-bit word.
    picture = SDL_CreateTexture(renderer, SDL_PIXELFORMAT_ARGB8888, SDL_TEXTUREACCESS_STREAMING, p->width,
                                p->height);
    if (!picture) return;
    SDL_SetTextureBlendMode(picture, SDL_BLENDMODE_NONE);
    picturew = p->width;
    pictureh = p->height;
  }
  surf locked{};
  if (!surface::SurfaceDataLock(p, &locked)) return;
  SDL_UpdateTexture(picture, nullptr, locked.bits, locked.pitch * int(sizeof(pix32)));
  surface::SurfaceDataUnlock(&locked);
  dirty = true;
}

void previewwindow::SetStatus(const std::string &text) {
  if (text == status) return;
  status = text;
  stripdirty = dirty = true;
  SDL_SetWindowTitle(window, (title + " - " + status).c_str());
}

void previewwindow::DrawRoot() {
  if (!renderer) return;
  ClipReblit();
  SDL_RenderPresent(renderer);
  dirty = false;
}

void previewwindow::ClipReblit() {
  int w = 0, h = 0;
  SDL_GetRendererOutputSize(renderer, &w, &h);
  const int area = h - kStatusHeight > 1 ? h - kStatusHeight : 1;
  SDL_SetRenderDrawColor(renderer, 0, 0, 0, 255);
  SDL_RenderClear(renderer);
  if (picture && picturew > 0 && pictureh > 0) {
    // The largest rectangle of the picture's shape that fits, centred.
    int dw = w, dh = int(int64_t(w) * pictureh / picturew);
    if (dh > area) {
      dh = area;
      dw = int(int64_t(area) * picturew / pictureh);
    }
    const SDL_Rect dst{(w - dw) / 2, (area - dh) / 2, dw, dh};
    SDL_RenderCopy(renderer, picture, nullptr, &dst);
  }
  PaintStatus(w);
  const SDL_Rect bar{0, h - kStatusHeight, w, kStatusHeight};
  if (strip) SDL_RenderCopy(renderer, strip, nullptr, &bar);
}

void previewwindow::PaintStatus(int width) {
  if (width < 1) return;
  if (!strip || stripw != width) {
    if (strip) SDL_DestroyTexture(strip);
    strip = SDL_CreateTexture(renderer, SDL_PIXELFORMAT_ARGB8888, SDL_TEXTUREACCESS_STREAMING, width,
                              kStatusHeight);
    stripw = width;
    stripdirty = true;
  }
  if (!strip || !stripdirty) return;
  stripdirty = false;
  strippixels.assign(size_t(width) * kStatusHeight, pix32());
  dc d(strippixels.data(), width, kStatusHeight, width);
  d.FillRect(RECT{0, 0, width, kStatusHeight}, RGB(32, 32, 36));
  font f;
  f.height = 14;
  d.SelectFont(f);
  d.SetBkMode(TRANSPARENT);
  d.SetTextColor(RGB(230, 230, 230));
  d.TextOut(6, 3, status.c_str());
  SDL_UpdateTexture(strip, nullptr, strippixels.data(), width * int(sizeof(pix32)));
}

void previewwindow::ToggleFullscreen() {
  fullscreen = !fullscreen;
  SDL_SetWindowFullscreen(window, fullscreen ? SDL_WINDOW_FULLSCREEN_DESKTOP : 0);
  dirty = true;  // painted again once the window has its new size (its resize event)
}

bool previewwindow::Screenshot(const std::string &path, std::string *error) {
  int w = 0, h = 0;
  SDL_GetRendererOutputSize(renderer, &w, &h);
  KORSurface *shot = surface::SurfaceCreate(w, h);
  if (!shot) {
    if (error) *error = "no memory for the screenshot";
    return false;
  }
  ClipReblit();  // the back buffer is what the next present shows
  surf locked{};
  bool ok = surface::SurfaceDataLock(shot, &locked) &&
            SDL_RenderReadPixels(renderer, nullptr, SDL_PIXELFORMAT_ARGB8888, locked.bits,
                                 locked.pitch * int(sizeof(pix32))) == 0;
  if (locked.bits) surface::SurfaceDataUnlock(&locked);
  SDL_RenderPresent(renderer);
  if (!ok && error) *error = SDL_GetError();
  ok = ok && WritePicture(shot, path, error);
  surface::SurfaceDelete(shot);
  return ok;
}
