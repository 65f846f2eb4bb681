// vemo: the virtual operations' base behaviour, the object tree, dialogs and the busy counter.
#include "core/vemo.h"

#include <cstdio>

#include "core/dialogs.h"
#include "core/trap.h"

namespace {
int g_busy = 0;
}

vemo::vemo(const vemo &other) { *this = other; }

vemo &vemo::operator=(const vemo &other) {
  if (this == &other) return *this;
  DestroyIcon(iconhandle);
  iconhandle = other.iconhandle ? new icon(*other.iconhandle) : nullptr;
  dirty = other.dirty;
  window = other.window;
  parent = other.parent;
  currenttime = other.currenttime;
  position = other.position;
  size = other.size;
  captured = other.captured;
  surfaces = other.surfaces;
  wincontext = other.wincontext;
  offset = other.offset;
  return *this;
}

vemo::~vemo() { DestroyIcon(iconhandle); }

// ---- Virtual operations ----

bool vemo::TipTheTool(const char *text, RECT rc) {
  vemo *root = GetRoot();
  if (root == this) return false;  // the root class overrides this to show the tip
  return root->TipTheTool(text, rc);
}

bool vemo::TipTheTool(int string_id, RECT rc) {
  vemo *root = GetRoot();
  if (root == this) return false;
  return root->TipTheTool(string_id, rc);
}

int vemo::Save(FILE *) { return 0; }
int vemo::Load(FILE *) { return 0; }
int vemo::Draw(HDC, RECT, int) { return 0; }
RECT vemo::Layout(RECT rc) { return rc; }
bool vemo::QueryCommand(HWND, int, uint32_t *) { return false; }
uint32_t vemo::QueryAction(HWND, uint32_t, POINT, int) { return 0; }

uint32_t vemo::ExitQueryAction(uint32_t flags) {
  if (flags & QA_RELEASE) {
    Dialogs().ReleaseCapture();
    captured = nullptr;
    flags |= QA_UPDATE;
  }
  if (flags & QA_CHANGED) {
    dirty = 1;  // this object only; the root marks the project
    flags |= QA_UPDATE;
  }
  return flags;
}

uint32_t vemo::ExitChildQueryAction(RECT *, vemo *child, HWND hwnd, uint32_t message, POINT pt, int keys) {
  uint32_t flags = child->QueryAction(hwnd, message, pt, keys);
  if (flags & QA_CAPTURE)
    captured = child;
  else if (flags & QA_RELEASE)
    captured = nullptr;
  return ExitQueryAction(flags);
}

bool vemo::RegisterUIItem(UIItem *) { return false; }

uint32_t vemo::ShowHelp(int topic) {
  vemo *root = GetRoot();
  if (root != this) root->ShowHelp(topic);
  return static_cast<uint32_t>(topic);
}

uint32_t vemo::SetTime(int t) {
  vemo *root = GetRoot();
  root->SetCurrentTime(t);
  return QA_UPDATE;
}

uint32_t vemo::MoveTime(int delta) {
  vemo *root = GetRoot();
  root->SetCurrentTime(root->currenttime + delta);
  return QA_UPDATE;
}

uint32_t vemo::SetCurrentTime(int t) {
  currenttime = t - position + offset;
  return QA_UPDATE;
}

int vemo::ObjectOffset(vemo *other) { return currenttime - other->currenttime; }

uint32_t vemo::SetPoSiz(int pos, int siz) {
  position = pos < 0 ? 0 : pos;
  size = siz < 1 ? 1 : siz;
  return QA_CHANGED;
}

uint32_t vemo::SetPosition(int pos) {
  position = pos;
  return QA_CHANGED;
}

int vemo::GetPosition() { return position; }

uint32_t vemo::SetSize(int siz) {
  size = siz;
  return QA_CHANGED;
}

int vemo::GetSize() { return size; }

KORSurface *vemo::GetUISurface() { return nullptr; }

// ---- Object tree ----

uint32_t vemo::SetChild(vemo &child) {
  child.parent = this;
  child.SetCurrentTime(currenttime);
  child.wincontext = wincontext;
  child.surfaces = surfaces;
  return QA_UPDATE;
}

vemo *vemo::GetRoot() {
  vemo *v = this;
  while (v->parent) v = v->parent;
  return v;
}

HWND vemo::GetRootWindow() { return GetRoot()->window; }

KORSurface *vemo::GetRootUISurface() { return GetRoot()->GetUISurface(); }

int vemo::GetRootTimeOffset() {
  int sum = 0;
  for (vemo *v = this; v->parent; v = v->parent) sum += v->GetPosition();
  return sum;
}

int vemo::Dirty() {
  for (vemo *v = this; v; v = v->parent) v->dirty = 1;
  return 1;
}

uint32_t vemo::QueryCapMov(HWND hwnd, POINT pt, int keys) {
  Dialogs().SetCapture(hwnd);
  return QueryAction(hwnd, WM_MOUSEMOVE, pt, keys) | QA_CAPTURE;
}

int vemo::Help(HWND, int topic) {
  GetRoot()->ShowHelp(topic);
  return topic;
}

// ---- Dialogs ----

bool vemo::AskForOk(const char *caption, const char *text) {
  return Dialogs().MessageBox(nullptr, text, caption, boxbuttons::okcancel, boxicon::question) == IDOK;
}

bool vemo::AskForDelete(int) {
  // The base confirmation is deliberately empty: two empty lines and no caption. Callers that
  // need wording put up their own box.
  char text[8];
  std::snprintf(text, sizeof text, "%s\n\n%s", "", "");
  return Dialogs().MessageBox(nullptr, text, "", boxbuttons::yesno, boxicon::question) == IDYES;
}

int vemo::BoxError(HWND hwnd, int string_id) {
  // The body is the bare word and the caption carries the message: kept in this order.
  return Dialogs().MessageBox(hwnd, "Error", GetStringPtr(string_id), boxbuttons::ok, boxicon::exclamation);
}

int vemo::BoxInfo(HWND hwnd, int string_id) {
  return Dialogs().MessageBox(hwnd, "Info", GetStringPtr(string_id), boxbuttons::ok, boxicon::information);
}

// ---- Busy cursor ----

int vemo::BusyStart() {
  if (g_busy == 0) Dialogs().SetCursor(cursorkind::wait);
  return ++g_busy;
}

int vemo::BusyEnd() {
  if (g_busy == 0) vemo_trap("BusyEnd without a matching BusyStart");
  if (--g_busy == 0) Dialogs().SetCursor(cursorkind::arrow);
  return g_busy;
}

int vemo::IsBusy() { return g_busy; }
