// vemo: the root class of every visual or timed object, and the engine's small static toolbox.
//
// Common principles of this header:
// - Clip time is int32 milliseconds. An object's current time is local: the parent's time minus
//   the object's position plus its offset.
// - Operations that change an object or react to input return a 32-bit set of action flags
//   (QA_*), or-ed on the way up the tree; the root acts on them.
// - Failures are return values (0, false, null); nothing here throws across the interface.
// - Persistent records begin with their own size as a u32 and reach files only through
//   SizedDataInit/Write/Read, which version records by that size alone.
#pragma once

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include "core/platform.h"
#include "media/pix32.h"

struct font;

class surface;
class vemowin;
struct KORSurface;
class UIItem;

// Action flags returned by input and editing operations.
enum : uint32_t {
  QA_CAPTURE = 1,   // the object wants the mouse capture
  QA_RELEASE = 2,   // the object gives the capture back
  QA_CHANGED = 16,  // the object's data changed; it must be marked dirty
  QA_UPDATE = 128,  // the display must be refreshed
};

class vemo {
 public:
  vemo() = default;
  // A copy gets its own copy of the icon, so each object releases only what it holds.
  vemo(const vemo &other);
  vemo &operator=(const vemo &other);
  virtual ~vemo();

  // ---- The 22 virtual operations, in slot order ----
  virtual bool TipTheTool(const char *text, RECT rc);                                     // 0
  virtual bool TipTheTool(int string_id, RECT rc);                                        // 1
  virtual int Save(FILE *f);                                                              // 2
  virtual int Load(FILE *f);                                                              // 3
  virtual int Draw(HDC hdc, RECT rc, int flags);                                          // 4
  virtual RECT Layout(RECT rc);                                                           // 5
  virtual bool QueryCommand(HWND hwnd, int command, uint32_t *result);                    // 6
  virtual uint32_t QueryAction(HWND hwnd, uint32_t message, POINT pt, int keys);          // 7
  virtual uint32_t ExitQueryAction(uint32_t flags);                                       // 8
  virtual uint32_t ExitChildQueryAction(RECT *rc, vemo *child, HWND hwnd, uint32_t message, POINT pt,
                                        int keys);                                        // 9
  virtual bool RegisterUIItem(UIItem *item);                                              // 10
  virtual uint32_t ShowHelp(int topic);                                                   // 11
  virtual uint32_t SetTime(int t);                                                        // 12
  virtual uint32_t MoveTime(int delta);                                                   // 13
  virtual uint32_t SetCurrentTime(int t);                                                 // 14
  virtual int ObjectOffset(vemo *other);                                                  // 15
  virtual uint32_t SetPoSiz(int position, int size);                                      // 16
  virtual uint32_t SetPosition(int position);                                             // 17
  virtual int GetPosition();                                                              // 18
  virtual uint32_t SetSize(int size);                                                     // 19
  virtual int GetSize();                                                                  // 20
  virtual KORSurface *GetUISurface();                                                     // 21

  // ---- Object tree ----
  uint32_t SetChild(vemo &child);
  vemo *GetRoot();
  HWND GetRootWindow();
  KORSurface *GetRootUISurface();
  int GetRootTimeOffset();
  int Dirty();
  int isDirty() const { return dirty; }
  void SetClean() { dirty = 0; }
  uint32_t QueryCapMov(HWND hwnd, POINT pt, int keys);
  int Help(HWND hwnd, int topic);

  vemo *GetParent() const { return parent; }
  void SetParent(vemo *p) { parent = p; }
  int GetCurrentTime() const { return currenttime; }
  vemo *GetCapturedChild() const { return captured; }
  void SetWindow(HWND w) { window = w; }
  HWND GetWindow() const { return window; }
  surface *GetSurfaceManager() const { return surfaces; }
  vemowin *GetWindowContext() const { return wincontext; }

  // ---- Dialogs and messages (through the host's dialog interface) ----
  static bool AskForOk(const char *caption, const char *text);
  static bool AskForDelete(int unused);
  static int BoxError(HWND hwnd, int string_id);
  static int BoxInfo(HWND hwnd, int string_id);
  // The resource text of `id` for 1 <= id < 1024; the empty string otherwise. Never null.
  static char *GetStringPtr(int id);

  // ---- Icons ----
  bool SetIcon(const char *path);
  HICON GetIcon();
  static HICON IconLoadByFileName(const char *path);

  // ---- Busy cursor (process-wide counter) ----
  static int BusyStart();
  static int BusyEnd();  // stops the program when the counter is already 0
  static int IsBusy();

  // ---- Folders and files ----
  static char *ExeDir();  // the executable's folder, ending with '/'
  static char *AppDir();
  static void SetAppDir(const char *dir);
  static FILE *OpenTempFile(const char *name, const char *mode);
  // The whole of a file; false when it cannot be read or is longer than max_bytes.
  static bool ReadWholeFile(const char *path, std::vector<uint8_t> &bytes, size_t max_bytes);
  static bool MakeFileName(char kind, int number, const char *ext, char *dst);
  static bool MakeUrlName(const char *base, char kind, int number, const char *ext, char *dst);
  static int MakeDirectory(char *path);  // may append '/' in place: leave room for it
  static void removelastchar(char *s, char c);
  static int EditFile(HWND hwnd, const char *file, const char *verb);
  static int ShellOpenFile(const char *path);
  static int ShellExploreDir(const char *path);
  // The integer that names the numbering folder of MakeFileName/MakeUrlName.
  static void SetNumberingFolder(int folder);
  static int GetNumberingFolder();

  // ---- Dates ----
  static tm GetToday();
  static int GetDateString(const tm *t, char *dst);  // dst holds at least 26 bytes
  static int GetDateStringToday(char *dst);

  // ---- Per-user settings and shell registration ----
  static int GetDatasetValue(const char *dataset, const char *name, char *value, int capacity);
  static int SetDatasetValue(const char *dataset, const char *name, const char *value);
  static int SetShellString(const char *key, const char *name, const char *value);
  static bool SetShellExtensions();

  // ---- Size-prefixed records ----
  static int SizedDataInit(void *record, uint32_t size);
  static int SizedDataWrite(FILE *f, void *record, uint32_t size);
  static int SizedDataRead(FILE *f, void *record, uint32_t size);

  // ---- Colour conversions ----
  static double uc2d(unsigned char c);
  static unsigned char d2uc(double d);
  static pix32 FromColorRef(uint32_t c);
  static uint32_t ToColorRef(pix32 p);
  static pix32 rgb2yuv(pix32 p);
  static pix32 yuv2rgb(pix32 p);

  // ---- Clip time text ----
  static bool CliptimeToString(int t, char *dst);
  static bool StringToCliptime(const char *s, int *t);

  // ---- Rectangles ----
  static int PointInRect(const POINT *p, const RECT *r);
  static int POINTINRECT(POINT p, RECT r) { return PointInRect(&p, &r); }
  static bool RCEQUAL(RECT a, RECT b) {
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
  }
  static int RCWID(RECT r) { return r.right - r.left; }
  static int RCHIG(RECT r) { return r.bottom - r.top; }
  static int RcWid(const RECT *r) { return r->right - r->left; }
  static int RcHig(const RECT *r) { return r->bottom - r->top; }
  static POINT RCCTR(RECT r) { return POINT{(r.left + r.right) / 2, (r.top + r.bottom) / 2}; }
  static bool checkrec(RECT r) { return r.right > r.left && r.bottom > r.top; }
  static bool recrec(RECT &r);
  static int absdiff(int a, int b) { return a > b ? a - b : b - a; }
  static int Move(RECT *r, int dx, int dy);
  static RECT SplitTop(RECT *r, int h);
  static RECT SplitBottom(RECT *r, int h);
  static RECT SplitLeft(RECT *r, int w);
  static RECT SplitRight(RECT *r, int w);
  static RECT SplitCloseButton(RECT *r, int s);
  static RECT ChildRectY(RECT r, int from, int to, int parts);
  static RECT ChildRectX(RECT r, int from, int to, int parts);
  // Splits r at the absolute column x / row y: the part before goes to the result, r keeps the rest.
  static RECT SplitAtX(RECT *r, int x);
  static RECT SplitAtY(RECT *r, int y);
  // r shrunk by d on every side (grown for negative d).
  static RECT Reduce(RECT r, int d);
  // The intersection of a and b; an empty rectangle (checkrec false) when they do not meet.
  static RECT And(RECT a, RECT b);
  // A rectangle of the given size centred on c.
  static RECT RCFROMCTR(POINT c, int w, int h);
  // Position of v in [lo, hi] mapped onto the columns / rows of r, rounded to the nearest pixel,
  // and back (the result of the inverse is clamped to [lo, hi]).
  static int MapXInRect(double v, double lo, double hi, RECT r);
  static int MapYInRect(double v, double lo, double hi, RECT r);
  static double Map2RectX(int x, double lo, double hi, RECT r);
  static double Map2RectY(int y, double lo, double hi, RECT r);
  // Rotates the vector (x, y) by theta radians counter-clockwise in place.
  static void rot2D(double &x, double &y, double theta);

  // ---- Drawing helpers of the interface (drawing.cpp) ----
  // A filled rectangle with a one-pixel frame (frame colour -1: none).
  static void DrawRectangle(HDC hdc, RECT r, COLORREF fill, int64_t frame = -1);
  // Text laid out in r by DT_* flags: on a filled background, bare, or embossed (a light copy
  // one pixel below and right, then the text). The font is the context's selected one.
  static void DrawTextRectangle(HDC hdc, const char *text, RECT r, COLORREF colour, COLORREF back,
                                uint32_t flags);
  static void DrawTextOnly(HDC hdc, const char *text, RECT r, COLORREF colour, uint32_t flags);
  static void DrawTextOnly(HDC hdc, int string_id, RECT r, COLORREF colour, uint32_t flags);
  static void DrawTextRaised(HDC hdc, const char *text, RECT r, COLORREF colour, COLORREF light,
                             uint32_t flags);
  // Pop-up choices through the host's dialogs, titled `title`: the chosen entry, 0 for none.
  // From a zero-terminated list of numbers (shown as numbers; the number is returned), of
  // resource string IDs (shown as their texts; the ID is returned), or of names in a table of
  // fixed-width rows or of pointers (index + 1 is returned).
  static int PopNonZeroInts(HWND hwnd, const int *values, const char *title);
  static int PopResStrings(HWND hwnd, const int *ids, const char *title);
  static int PopArrayNameIndex(HWND hwnd, const char *table, int stride, int count, const char *title);
  static int PopArrayNamePtrIndex(HWND hwnd, const char *const *names, int count, const char *title);
  // A pop-up menu at the cursor: from a menu handle (its leaves, paths shown "Group > Name"),
  // or from entries of a text and the number each answers (entries answering 0 are left out).
  // The number of the chosen entry, 0 for none.
  static int PopAMenu(HWND hwnd, HMENU menu, const char *title);
  static int PopAMenu(HWND hwnd, const std::vector<std::pair<std::string, int>> &entries, const char *title);
  // Lets the user choose a colour, offered as it is: a COLORREF, or a pix32 whose alpha is
  // kept. True when one was chosen (then written back); false leaves it as it was.
  static bool SelectColor(HWND hwnd, COLORREF *colour, const char *title = "Colour");
  static bool SelectColor(HWND hwnd, pix32 *colour, const char *title = "Colour");
  // A font by height in pixels, weight (FW_*), italic and underline, and family (null or empty:
  // the interface font); select it with the context's SelectFont.
  static font CreateFontA(int height, int weight = 400, bool italic = false, bool underline = false,
                          const char *family = nullptr);
  // Selects the interface font of `height` pixels (bold when asked); returns the one before.
  static font VemoSelectFont(HDC hdc, int height, bool bold = false);

 protected:
  HICON iconhandle = nullptr;
  int32_t dirty = 1;
  HWND window = nullptr;
  vemo *parent = nullptr;
  int32_t currenttime = 0;
  int32_t position = 0;
  int32_t size = 10000;
  vemo *captured = nullptr;
  surface *surfaces = nullptr;
  vemowin *wincontext = nullptr;
  int32_t offset = 0;
};
