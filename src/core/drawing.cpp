// The interface's drawing helpers: rectangles and text on the software drawing context.
#include <cstring>

#include "core/vemo.h"
#include "media/dc.h"

void vemo::DrawRectangle(HDC hdc, RECT r, COLORREF fill, int64_t frame) {
  if (!hdc || !checkrec(r)) return;
  hdc->FillRect(r, fill);
  if (frame < 0) return;
  const COLORREF f = COLORREF(frame);
  hdc->FillRect(RECT{r.left, r.top, r.right, r.top + 1}, f);
  hdc->FillRect(RECT{r.left, r.bottom - 1, r.right, r.bottom}, f);
  hdc->FillRect(RECT{r.left, r.top, r.left + 1, r.bottom}, f);
  hdc->FillRect(RECT{r.right - 1, r.top, r.right, r.bottom}, f);
}

void vemo::DrawTextRectangle(HDC hdc, const char *text, RECT r, COLORREF colour, COLORREF back,
                             uint32_t flags) {
  if (!hdc) return;
  hdc->FillRect(r, back);
  DrawTextOnly(hdc, text, r, colour, flags);
}

void vemo::DrawTextOnly(HDC hdc, const char *text, RECT r, COLORREF colour, uint32_t flags) {
  if (!hdc || !text || !*text || !checkrec(r)) return;
  const RECT before = hdc->GetClipRect();
  hdc->SetClipRect(And(before, r));
  const int mode = hdc->SetBkMode(TRANSPARENT);
  const COLORREF c = hdc->SetTextColor(colour);
  hdc->DrawText(text, -1, &r, flags);
  hdc->SetTextColor(c);
  hdc->SetBkMode(mode);
  hdc->SetClipRect(before);
}

void vemo::DrawTextOnly(HDC hdc, int string_id, RECT r, COLORREF colour, uint32_t flags) {
  DrawTextOnly(hdc, GetStringPtr(string_id), r, colour, flags);
}

void vemo::DrawTextRaised(HDC hdc, const char *text, RECT r, COLORREF colour, COLORREF light,
                          uint32_t flags) {
  RECT shadow = r;
  Move(&shadow, 1, 1);
  DrawTextOnly(hdc, text, shadow, light, flags);
  DrawTextOnly(hdc, text, r, colour, flags);
}

font vemo::CreateFontA(int height, int weight, bool italic, bool underline, const char *family) {
  font f;
  f.height = height;
  f.weight = weight;
  f.italic = italic;
  f.underline = underline;
  if (family && *family) f.family = family;
  return f;
}

font vemo::VemoSelectFont(HDC hdc, int height, bool bold) {
  return hdc ? hdc->SelectFont(CreateFontA(height, bold ? FW_BOLD : FW_NORMAL)) : font();
}
