// The editing window of `lumivaxel edit`: an SDL window that shows what the root arrangement
// draws (preview, variable editor, arrangement view) under our menu bar and above a status
// line. SDL events become the system's window messages for the root (QueryAction), menu
// choices and keys its commands (QueryCommand); the action flags that come back decide the
// recomposition, the redraw, the mouse capture and the dirty mark. Files, making and help are
// the host's own commands.
#pragma once

#include <SDL.h>

#include <memory>
#include <string>
#include <vector>

#include "app/edit_dialogs.h"
#include "app/edit_menu.h"
#include "engine/editjournal.h"

class vemoproject;
class clip;
struct KORSurface;

// The host's commands (the root's are in engine/editcommands.h).
enum : int {
  HCMD_NEW = 20001,
  HCMD_OPEN,
  HCMD_SAVE,
  HCMD_SAVE_AS,
  HCMD_IMPORT,
  HCMD_MAKE,
  HCMD_QUIT,
  HCMD_UNDO,
  HCMD_REDO,
  HCMD_HELP,
  HCMD_KEYS,
  HCMD_GOTO,
};

struct editoptions {
  std::string project;  // empty: a new project
  int width = 1280;     // the window's client size
  int height = 800;
  bool verbose = false;    // prints the layout of the view whenever it changes
  int at = 0;              // the time shown first, ms
  std::string select;      // the clip shown in the editor first (by name); the first clip without
  std::string screenshot;  // paints once, writes this PNG and ends
};

class editwindow : public dialoghost {
 public:
  static constexpr int kStatusHeight = 22;

  editwindow();
  ~editwindow() override;
  editwindow(const editwindow &) = delete;
  editwindow &operator=(const editwindow &) = delete;

  // Runs until the window closes; the exit status.
  int Run(const editoptions &options);

  void PaintWith(const std::function<void(HDC hdc, RECT client)> &overlay) override;
  void SetTitleNote(const std::string &note) override;

 private:
  bool OpenWindow(std::string *error);
  void BuildMenus();
  void Execute(int command);
  void Handle(const SDL_Event &e);
  void Mouse(uint32_t message, POINT pt, int keys);
  // Where the mouse is, in client pixels (keys are routed with it).
  POINT MouseAt() const;
  void Flags(uint32_t flags);
  void Compose();
  void Paint();
  void UpdateTitle();
  void PrintLayout();
  // The files: each asks what it needs; false when the user cancelled or it failed.
  bool AskToCommit(const char *what);
  bool SaveTo(const std::string &path);
  bool SaveAs();
  bool CloseProject();  // the dirty mark's question; false to stay
  void OpenProject();
  void ImportMedia();
  void MakeFile();
  void ShowHelpBox();
  void ShowKeys();
  void SetStatus(const std::string &s);
  clip *Root() const;
  // Gives the project just loaded (or made new) its edit history, from its journal when saved.
  void FollowJournal();
  RECT Client() const;

  windowdialogs ui;
  std::unique_ptr<vemoproject> project;
  // The edit history, written beside the project; destroyed before the project's root.
  std::unique_ptr<editjournal> journal;
  menubar bar;
  editoptions options;
  SDL_Window *window = nullptr;
  SDL_Renderer *renderer = nullptr;
  SDL_Texture *texture = nullptr;
  KORSurface *canvas = nullptr;
  int width = 0, height = 0;
  std::string path;    // the project's file; empty for a new one
  std::string status;  // the last thing done
  std::string note;    // what a dialog asks, in the title
  std::string lastlayout;
  std::string progress;  // the make's progress line while making
  double progressfraction = -1;
  bool captured = false;
  bool altalone = false;  // Alt went down with no other key since: its release opens the menus
  bool quit = false;
  bool needcompose = true;
  // What the last composition showed: a change of time, child or edited object composes again
  // (the edit marks follow the current effect); a change of the project always does.
  int composedtime = -1;
  const void *composedchild = nullptr;
  const void *composedtarget = nullptr;
  bool needpaint = true;
};
