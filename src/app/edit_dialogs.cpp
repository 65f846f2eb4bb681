// The editing window's dialogs, drawn in the window: boxes with buttons, a one-line text field,
// a list to choose from and a colour chooser.
#include "app/edit_dialogs.h"

#include <SDL.h>

#include <algorithm>
#include <cctype>
#include <cstdio>

#include "core/uipalette.h"
#include "core/vemo.h"
#include "media/dc.h"

namespace {

constexpr int kButtonW = 92;
constexpr int kButtonH = 26;

// A darkened editor under a centred panel of w x h; the panel's rectangle.
RECT Panel(HDC hdc, RECT client, int w, int h, const char *caption) {
  pix32 *bits = hdc->Bits();
  for (int y = 0; y < hdc->Height(); ++y)
    for (int x = 0; x < hdc->Width(); ++x) {
      pix32 &p = bits[size_t(y) * hdc->Pitch() + x];
      p.r = uint8_t(p.r / 2);
      p.g = uint8_t(p.g / 2);
      p.b = uint8_t(p.b / 2);
    }
  const int cx = (client.left + client.right) / 2, cy = (client.top + client.bottom) / 2;
  const RECT r{cx - w / 2, cy - h / 2, cx - w / 2 + w, cy - h / 2 + h};
  vemo::DrawRectangle(hdc, RECT{r.left + 4, r.top + 4, r.right + 4, r.bottom + 4}, RGB(15, 16, 18));
  vemo::DrawRectangle(hdc, r, ui::kPanel, ui::kLine);
  const font before = vemo::VemoSelectFont(hdc, ui::kFont, true);
  vemo::DrawTextOnly(hdc, caption, RECT{r.left + 14, r.top + 8, r.right - 14, r.top + 30}, ui::kText,
                     DT_LEFT | DT_VCENTER | DT_SINGLELINE);
  hdc->SelectFont(before);
  return r;
}

RECT ButtonRect(RECT panel, int i, int n) {
  const int right = panel.right - 14 - (n - 1 - i) * (kButtonW + 8);
  return RECT{right - kButtonW, panel.bottom - 14 - kButtonH, right, panel.bottom - 14};
}

void DrawButton(HDC hdc, RECT r, const char *text, bool isdefault) {
  vemo::DrawRectangle(hdc, r, isdefault ? ui::kClipSelected : ui::kTrackB,
                      isdefault ? ui::kAccent : ui::kLine);
  vemo::DrawTextOnly(hdc, text, r, ui::kText, DT_CENTER | DT_VCENTER | DT_SINGLELINE);
}

// The colour chooser's swatches: 8 hues in four shades (dark, full, light, pale), then 8 greys.
constexpr int kSwatchColumns = 8, kSwatchRows = 5, kSwatch = 30;

COLORREF Swatch(int column, int row) {
  if (row == kSwatchRows - 1) {
    const uint8_t v = uint8_t(column * 255 / (kSwatchColumns - 1));
    return RGB(v, v, v);
  }
  static constexpr COLORREF kHues[kSwatchColumns] = {RGB(255, 0, 0),   RGB(255, 128, 0), RGB(255, 255, 0),
                                                     RGB(0, 200, 0),   RGB(0, 255, 255), RGB(0, 96, 255),
                                                     RGB(128, 0, 255), RGB(255, 0, 255)};
  const COLORREF h = kHues[column];
  uint8_t c[3];
  for (int i = 0; i < 3; ++i) {
    const int v = int((h >> (8 * i)) & 0xFF);
    c[i] = uint8_t(row == 0 ? v / 2 : row == 1 ? v : row == 2 ? (v + 255) / 2 : (v + 3 * 255) / 4);
  }
  return RGB(c[0], c[1], c[2]);
}

POINT MousePoint(const SDL_Event &e) {
  return e.type == SDL_MOUSEMOTION ? POINT{e.motion.x, e.motion.y} : POINT{e.button.x, e.button.y};
}

}  // namespace

int windowdialogs::Box(const char *text, const char *caption, const std::vector<button> &buttons,
                       int defaultanswer, int cancel) {
  host->SetTitleNote(caption && *caption ? caption : "Message");
  int focus = 0;
  for (size_t i = 0; i < buttons.size(); ++i)
    if (buttons[i].answer == defaultanswer) focus = int(i);
  RECT panel{};
  int answer = 0;
  while (!answer) {
    host->PaintWith([&](HDC hdc, RECT client) {
      const font before = vemo::VemoSelectFont(hdc, ui::kFont);
      RECT measure{0, 0, 440, 0};
      hdc->DrawText(text, -1, &measure, DT_WORDBREAK | DT_CALCRECT);
      panel = Panel(hdc, client, 480, std::max<int>(130, measure.bottom + 100), caption);
      RECT body{panel.left + 20, panel.top + 40, panel.right - 20, panel.bottom - 50};
      vemo::DrawTextOnly(hdc, text, body, ui::kText, DT_LEFT | DT_TOP | DT_WORDBREAK);
      for (size_t i = 0; i < buttons.size(); ++i)
        DrawButton(hdc, ButtonRect(panel, int(i), int(buttons.size())), buttons[i].text, int(i) == focus);
      hdc->SelectFont(before);
    });
    SDL_Event e;
    if (!SDL_WaitEventTimeout(&e, 250)) continue;
    if (e.type == SDL_QUIT) {
      quitasked = true;
      answer = cancel;
    } else if (e.type == SDL_KEYDOWN) {
      const SDL_Keycode k = e.key.keysym.sym;
      if (k == SDLK_ESCAPE)
        answer = cancel;
      else if (k == SDLK_RETURN || k == SDLK_KP_ENTER || k == SDLK_SPACE)
        answer = buttons[size_t(focus)].answer;
      else if (k == SDLK_TAB || k == SDLK_RIGHT)
        focus = (focus + 1) % int(buttons.size());
      else if (k == SDLK_LEFT)
        focus = (focus + int(buttons.size()) - 1) % int(buttons.size());
      else
        // The first letter of a button presses it: Y, N, O, C.
        for (const button &b : buttons)
          if (k < 128 && std::tolower(b.text[0]) == int(k)) answer = b.answer;
    } else if (e.type == SDL_MOUSEBUTTONUP && e.button.button == SDL_BUTTON_LEFT) {
      const POINT p = MousePoint(e);
      for (size_t i = 0; i < buttons.size(); ++i) {
        const RECT r = ButtonRect(panel, int(i), int(buttons.size()));
        if (vemo::PointInRect(&p, &r)) answer = buttons[i].answer;
      }
    }
  }
  host->SetTitleNote("");
  return answer;
}

int windowdialogs::MessageBox(HWND, const char *text, const char *caption, boxbuttons buttons, boxicon) {
  switch (buttons) {
    case boxbuttons::ok:
      return Box(text, caption, {{"OK", IDOK}}, IDOK, IDOK);
    case boxbuttons::okcancel:
      return Box(text, caption, {{"OK", IDOK}, {"Cancel", IDCANCEL}}, IDOK, IDCANCEL);
    case boxbuttons::yesno:
      return Box(text, caption, {{"Yes", IDYES}, {"No", IDNO}}, IDNO, IDNO);
    case boxbuttons::yesnocancel:
      return Box(text, caption, {{"Yes", IDYES}, {"No", IDNO}, {"Cancel", IDCANCEL}}, IDYES, IDCANCEL);
  }
  return IDCANCEL;
}

int windowdialogs::AskYesNoCancel(HWND, const char *text, const char *caption, boxicon, int defaultanswer) {
  return Box(text, caption, {{"Yes", IDYES}, {"No", IDNO}, {"Cancel", IDCANCEL}}, defaultanswer, IDCANCEL);
}

bool windowdialogs::AskText(HWND, const char *title, const char *prompt, std::string &text) {
  host->SetTitleNote(title);
  const bool typing = SDL_IsTextInputActive();
  SDL_StartTextInput();
  int result = 0;
  while (!result) {
    host->PaintWith([&](HDC hdc, RECT client) {
      const RECT panel = Panel(hdc, client, 560, 150, title);
      const font before = vemo::VemoSelectFont(hdc, ui::kFont);
      vemo::DrawTextOnly(hdc, prompt, RECT{panel.left + 20, panel.top + 38, panel.right - 20, panel.top + 58},
                         ui::kTextDim, DT_LEFT | DT_VCENTER | DT_SINGLELINE);
      const RECT field{panel.left + 20, panel.top + 62, panel.right - 20, panel.top + 88};
      vemo::DrawRectangle(hdc, field, ui::kWindow, ui::kAccent);
      const std::string shown = text + "\xE2\x96\x8F";
      vemo::DrawTextOnly(hdc, shown.c_str(), vemo::Reduce(field, 5), ui::kText,
                         DT_RIGHT | DT_VCENTER | DT_SINGLELINE);
      vemo::DrawTextOnly(hdc, "Enter: OK    Escape: Cancel",
                         RECT{panel.left + 20, panel.bottom - 40, panel.right - 20, panel.bottom - 14},
                         ui::kTextDim, DT_RIGHT | DT_VCENTER | DT_SINGLELINE);
      hdc->SelectFont(before);
    });
    SDL_Event e;
    if (!SDL_WaitEventTimeout(&e, 250)) continue;
    if (e.type == SDL_QUIT) {
      quitasked = true;
      result = 2;
    } else if (e.type == SDL_TEXTINPUT) {
      text += e.text.text;
    } else if (e.type == SDL_KEYDOWN) {
      const SDL_Keycode k = e.key.keysym.sym;
      if (k == SDLK_ESCAPE)
        result = 2;
      else if (k == SDLK_RETURN || k == SDLK_KP_ENTER)
        result = 1;
      else if (k == SDLK_BACKSPACE && !text.empty()) {
        // Drops the last character, whole (UTF-8 continuation bytes go with it).
        size_t n = text.size() - 1;
        while (n > 0 && (static_cast<unsigned char>(text[n]) & 0xC0) == 0x80) --n;
        text.erase(n);
      } else if (k == SDLK_u && (e.key.keysym.mod & KMOD_CTRL)) {
        text.clear();
      }
    }
  }
  if (!typing) SDL_StopTextInput();
  host->SetTitleNote("");
  return result == 1 && !text.empty();
}

bool windowdialogs::FileDialog(HWND, bool save, const char *title, const char *filter, std::string &path) {
  std::string prompt = save ? "Write to the file:" : "Open the file:";
  if (filter && *filter) prompt += std::string("  (") + filter + ")";
  return AskText(nullptr, title && *title ? title : (save ? "Save" : "Open"), prompt.c_str(), path);
}

int windowdialogs::Choose(HWND, const char *title, const std::vector<std::string> &entries) {
  if (entries.empty()) return 0;
  host->SetTitleNote(title && *title ? title : "Choose");
  const int shown = std::min<int>(int(entries.size()), 16);
  int highlight = 0, first = 0, chosen = -1;
  RECT list{};
  while (chosen < 0) {
    first = std::clamp(first, std::max(0, highlight - shown + 1), highlight);
    host->PaintWith([&](HDC hdc, RECT client) {
      const RECT panel = Panel(hdc, client, 420, shown * ui::kRowHeight + 70, title);
      list = RECT{panel.left + 10, panel.top + 36, panel.right - 10, panel.top + 36 + shown * ui::kRowHeight};
      const font before = vemo::VemoSelectFont(hdc, ui::kFont);
      for (int i = 0; i < shown; ++i) {
        const int k = first + i;
        const RECT row{list.left, list.top + i * ui::kRowHeight, list.right,
                       list.top + (i + 1) * ui::kRowHeight};
        if (k == highlight) vemo::DrawRectangle(hdc, row, ui::kClipSelected);
        RECT t = row;
        t.left += 8;
        vemo::DrawTextOnly(hdc, entries[size_t(k)].c_str(), t, ui::kText,
                           DT_LEFT | DT_VCENTER | DT_SINGLELINE);
      }
      vemo::DrawTextOnly(hdc, "Enter: choose    Escape: none",
                         RECT{panel.left + 20, panel.bottom - 30, panel.right - 20, panel.bottom - 8},
                         ui::kTextDim, DT_RIGHT | DT_VCENTER | DT_SINGLELINE);
      hdc->SelectFont(before);
    });
    SDL_Event e;
    if (!SDL_WaitEventTimeout(&e, 250)) continue;
    if (e.type == SDL_QUIT) {
      quitasked = true;
      chosen = 0;
    } else if (e.type == SDL_KEYDOWN) {
      const SDL_Keycode k = e.key.keysym.sym;
      if (k == SDLK_ESCAPE)
        chosen = 0;
      else if (k == SDLK_RETURN || k == SDLK_KP_ENTER)
        chosen = highlight + 1;
      else if (k == SDLK_DOWN)
        highlight = std::min(highlight + 1, int(entries.size()) - 1);
      else if (k == SDLK_UP)
        highlight = std::max(highlight - 1, 0);
    } else if (e.type == SDL_MOUSEWHEEL) {
      highlight = std::clamp(highlight - e.wheel.y, 0, int(entries.size()) - 1);
    } else if ((e.type == SDL_MOUSEMOTION || e.type == SDL_MOUSEBUTTONUP)) {
      const POINT p = MousePoint(e);
      if (vemo::PointInRect(&p, &list)) {
        highlight = first + (p.y - list.top) / ui::kRowHeight;
        if (e.type == SDL_MOUSEBUTTONUP) chosen = highlight + 1;
      }
    }
  }
  host->SetTitleNote("");
  return chosen;
}

bool windowdialogs::ChooseColor(HWND, const char *title, COLORREF &colour) {
  host->SetTitleNote(title && *title ? title : "Colour");
  COLORREF chosen = colour & 0xFFFFFF;
  int column = -1, row = 0;  // the swatch the arrows move, none until one is picked
  RECT panel{}, grid{};
  int result = 0;
  while (!result) {
    host->PaintWith([&](HDC hdc, RECT client) {
      panel = Panel(hdc, client, kSwatchColumns * kSwatch + 190, kSwatchRows * kSwatch + 110, title);
      grid = RECT{panel.left + 20, panel.top + 40, panel.left + 20 + kSwatchColumns * kSwatch,
                  panel.top + 40 + kSwatchRows * kSwatch};
      for (int y = 0; y < kSwatchRows; ++y)
        for (int x = 0; x < kSwatchColumns; ++x) {
          const RECT r{grid.left + x * kSwatch, grid.top + y * kSwatch, grid.left + (x + 1) * kSwatch,
                       grid.top + (y + 1) * kSwatch};
          const bool on = x == column && y == row;
          vemo::DrawRectangle(hdc, vemo::Reduce(r, 2), Swatch(x, y), on ? ui::kText : ui::kLine);
        }
      // The colour offered beside the one chosen, and the chosen one's value.
      const RECT was{grid.right + 20, grid.top, grid.right + 150, grid.top + 40};
      const RECT now{was.left, was.bottom, was.right, was.bottom + 40};
      vemo::DrawRectangle(hdc, was, colour & 0xFFFFFF, ui::kLine);
      vemo::DrawRectangle(hdc, now, chosen, ui::kLine);
      char value[16];
      std::snprintf(value, sizeof value, "#%02X%02X%02X", unsigned(chosen & 0xFF), unsigned((chosen >> 8) & 0xFF),
                    unsigned((chosen >> 16) & 0xFF));
      const font before = vemo::VemoSelectFont(hdc, ui::kFont);
      vemo::DrawTextOnly(hdc, value, RECT{now.left, now.bottom + 4, now.right, now.bottom + 24}, ui::kText,
                         DT_CENTER | DT_VCENTER | DT_SINGLELINE);
      DrawButton(hdc, ButtonRect(panel, 0, 2), "OK", true);
      DrawButton(hdc, ButtonRect(panel, 1, 2), "Cancel", false);
      hdc->SelectFont(before);
    });
    SDL_Event e;
    if (!SDL_WaitEventTimeout(&e, 250)) continue;
    if (e.type == SDL_QUIT) {
      quitasked = true;
      result = 2;
    } else if (e.type == SDL_KEYDOWN) {
      const SDL_Keycode k = e.key.keysym.sym;
      if (k == SDLK_ESCAPE) {
        result = 2;
      } else if (k == SDLK_RETURN || k == SDLK_KP_ENTER) {
        result = 1;
      } else if (k == SDLK_LEFT || k == SDLK_RIGHT || k == SDLK_UP || k == SDLK_DOWN) {
        if (column < 0) column = 0;
        column = std::clamp(column + (k == SDLK_RIGHT) - (k == SDLK_LEFT), 0, kSwatchColumns - 1);
        row = std::clamp(row + (k == SDLK_DOWN) - (k == SDLK_UP), 0, kSwatchRows - 1);
        chosen = Swatch(column, row);
      }
    } else if (e.type == SDL_MOUSEBUTTONUP && e.button.button == SDL_BUTTON_LEFT) {
      const POINT p = MousePoint(e);
      const RECT ok = ButtonRect(panel, 0, 2), cancel = ButtonRect(panel, 1, 2);
      if (vemo::PointInRect(&p, &grid)) {
        column = (p.x - grid.left) / kSwatch;
        row = (p.y - grid.top) / kSwatch;
        chosen = Swatch(column, row);
        if (e.button.clicks == 2) result = 1;
      } else if (vemo::PointInRect(&p, &ok)) {
        result = 1;
      } else if (vemo::PointInRect(&p, &cancel)) {
        result = 2;
      }
    }
  }
  host->SetTitleNote("");
  if (result != 1) return false;
  colour = chosen;
  return true;
}
