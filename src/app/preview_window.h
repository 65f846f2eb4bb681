// The preview window: the picture scaled into the window above a one-line status strip. Plays
// the roles of the root's window: BlitRoot shows a picture, ClipReblit scales it into the client
// area (aspect kept, no scaling when the sizes agree), DrawRoot paints picture and status.
#pragma once

#include <SDL.h>

#include <string>
#include <vector>

#include "media/pix32.h"

struct KORSurface;

class previewwindow {
 public:
  static constexpr int kStatusHeight = 22;

  previewwindow() = default;
  ~previewwindow();
  previewwindow(const previewwindow &) = delete;
  previewwindow &operator=(const previewwindow &) = delete;

  // A window whose picture area is w x h; false with SDL's reason in *error.
  bool Open(const std::string &title, int w, int h, std::string *error);
  // Takes a picture to show (copied); shown by the next paint.
  void BlitRoot(KORSurface *picture);
  // The status line and the window title ("<title> - <status>"); shown by the next paint.
  void SetStatus(const std::string &text);
  // Paints the picture and the status (after a resize or an expose, or when they changed).
  void DrawRoot();
  void Refresh() {
    if (dirty) DrawRoot();
  }
  void ToggleFullscreen();
  // Writes the window as it is shown to a PNG; false with a reason in *error.
  bool Screenshot(const std::string &path, std::string *error);

 private:
  void ClipReblit();  // the picture into the client area, the status strip below
  void PaintStatus(int width);

  SDL_Window *window = nullptr;
  SDL_Renderer *renderer = nullptr;
  SDL_Texture *picture = nullptr;
  SDL_Texture *strip = nullptr;
  int picturew = 0, pictureh = 0;
  int stripw = 0;
  std::vector<pix32> strippixels;
  std::string title, status;
  bool fullscreen = false;
  bool stripdirty = true;
  bool dirty = true;
};
