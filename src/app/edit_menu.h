// The editing window's menu bar: a tree of entries, each with a command and a key, drawn by us
// into the window's surface and driven by mouse and keyboard (F10 or Alt opens it; arrows,
// Enter and Escape move through it).
#pragma once

#include <SDL.h>

#include <functional>
#include <string>
#include <vector>

#include "core/platform.h"

struct menuentry {
  std::string text;
  std::string key;  // shown beside the text and matched by KeyCommand: "Ctrl+Shift+S", "Delete"
  int command = 0;  // 0: a sub-menu or a separator
  std::vector<menuentry> sub;
  bool separator = false;
  bool enabled = true;
  bool checked = false;
};

class menubar {
 public:
  static constexpr int kHeight = 24;

  std::vector<menuentry> menus;  // the top-level menus

  // The command bound to the key (with its modifiers), 0 when none; searches the whole tree.
  int KeyCommand(SDL_Keycode key, uint16_t mod) const;
  // Draws the bar across `width` columns and the open menus below it.
  void Draw(HDC hdc, int width);
  bool IsOpen() const { return !path.empty(); }
  void Close() { path.clear(); }
  // Opens the first menu with the keyboard.
  void OpenFirst();
  // The mouse and the keys while the bar is involved. Each returns true when the bar took the
  // event; *command is set to the command chosen (0 when none).
  bool Mouse(uint32_t message, POINT pt, int *command);
  bool Key(SDL_Keycode key, int *command);
  // The rectangle of every open panel (for hit-testing and redraws).
  std::vector<RECT> OpenPanels() const;

 private:
  // One open level: the entry list it shows, the highlighted row and where it lies.
  struct level {
    const std::vector<menuentry> *entries;
    int highlight;
    RECT rect;
  };
  void Open(int menu);
  void OpenSub(size_t depth, int row);
  int Choose(size_t depth, int row);  // command, or 0 after opening a sub-menu
  RECT TitleRect(int menu) const;
  std::vector<level> path;
  int openmenu = -1;
  std::vector<int> titlex;  // left edges of the titles, from the last Draw
  int barwidth = 0;
};

// A key text such as "Ctrl+Shift+Z" against an SDL key and its modifiers.
bool KeyMatches(const std::string &text, SDL_Keycode key, uint16_t mod);
