// The editing window: SDL events to window messages and commands, painting, files, making.
#include "app/edit_window.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "app/imagewrite.h"
#include "core/dialogs.h"
#include "core/intarraytree.h"
#include "core/uipalette.h"
#include "effects/effect.h"
#include "engine/clip.h"
#include "engine/editcommands.h"
#include "engine/project.h"
#include "media/dc.h"
#include "media/plugins.h"
#include "media/surface.h"
#include "time/mtime.h"

namespace {

// The engine's own question before a step that needs every edit applied (its wording kept).
constexpr const char *kCommitQuestion =
    "Do you want to apply (commit to) all changes made, in order to preceed?";

std::string BaseName(const std::string &p) {
  const size_t slash = p.find_last_of('/');
  return slash == std::string::npos ? p : p.substr(slash + 1);
}

std::string TimeText(int ms) {
  char b[32];
  std::snprintf(b, sizeof b, "%d:%02d.%03d", ms / 60000, (ms / 1000) % 60, ms % 1000);
  return b;
}

int Keys(uint32_t buttons, uint16_t mod) {
  int k = 0;
  if (buttons & SDL_BUTTON_LMASK) k |= MK_LBUTTON;
  if (buttons & SDL_BUTTON_RMASK) k |= MK_RBUTTON;
  if (buttons & SDL_BUTTON_MMASK) k |= MK_MBUTTON;
  if (mod & KMOD_SHIFT) k |= MK_SHIFT;
  if (mod & KMOD_CTRL) k |= MK_CONTROL;
  return k;
}

menuentry Item(const std::string &text, int command, const std::string &key = "") {
  menuentry e;
  e.text = text;
  e.command = command;
  e.key = key;
  return e;
}
menuentry Sub(const std::string &text, std::vector<menuentry> sub) {
  menuentry e;
  e.text = text;
  e.sub = std::move(sub);
  return e;
}
menuentry Separator() {
  menuentry e;
  e.separator = true;
  return e;
}

}  // namespace

editwindow::editwindow() : ui(this) {}

editwindow::~editwindow() {
  if (&Dialogs() == &ui) SetDialogs(nullptr);
  // The journal lets go of the root before the project deletes it.
  journal.reset();
  project.reset();
  if (canvas) surface::SurfaceDelete(canvas);
  if (texture) SDL_DestroyTexture(texture);
  if (renderer) SDL_DestroyRenderer(renderer);
  if (window) SDL_DestroyWindow(window);
}

clip *editwindow::Root() const { return project->Root(); }

RECT editwindow::Client() const { return RECT{0, menubar::kHeight, width, height - kStatusHeight}; }

bool editwindow::OpenWindow(std::string *error) {
  window = SDL_CreateWindow("Lumi-Vaxel", SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED, options.width,
                            options.height, SDL_WINDOW_RESIZABLE);
  if (window) renderer = SDL_CreateRenderer(window, -1, SDL_RENDERER_ACCELERATED);
  if (window && !renderer) renderer = SDL_CreateRenderer(window, -1, SDL_RENDERER_SOFTWARE);
  if (!window || !renderer) {
    *error = SDL_GetError();
    return false;
  }
  SDL_SetWindowMinimumSize(window, 640, 420);
  // Typed characters reach the engine's text fields as WM_CHAR.
  SDL_StartTextInput();
  return true;
}

int editwindow::Run(const editoptions &o) {
  options = o;
  // The project loads with the batch answers (--yes); the window's own dialogs take over once
  // it is open, so nothing is asked in a window that does not exist yet.
  project = std::make_unique<vemoproject>(nullptr);
  if (!project->Ok()) {
    std::fprintf(stderr, "lumivaxel: the picture surfaces could not be created\n");
    return 1;
  }
  if (!options.project.empty()) {
    struct stat st;
    if (::stat(options.project.c_str(), &st) != 0) {
      std::fprintf(stderr, "lumivaxel: no such project: %s\n", options.project.c_str());
      return 1;
    }
    if (!project->Load(options.project.c_str())) {
      std::fprintf(stderr, "lumivaxel: not a readable project (damaged or of a newer version): %s\n",
                   options.project.c_str());
      return 1;
    }
    path = options.project;
  }
  Root()->SetClean();
  journal = OpenEditJournal(Root(), "");  // memory only until the window can ask about a journal
  if (Root()->GetChildCount()) Root()->SelectCurrent(Root()->GetChild(0));
  for (int i = 0; i < Root()->GetChildCount(); ++i)
    if (options.select == Root()->GetChild(i)->GetName()) Root()->SelectCurrent(Root()->GetChild(i));
  Root()->SetCurrentTime(std::clamp(options.at, 0, Root()->GetSize()));
  effect::InitEffectHelp();
  std::string error;
  if (!OpenWindow(&error)) {
    std::fprintf(stderr, "lumivaxel: the editing window could not be opened: %s\n", error.c_str());
    return 1;
  }
  SetDialogs(&ui);
  SetStatus("Ready");
  FollowJournal();
  while (!quit) {
    if (needcompose || Root()->GetCurrentTime() != composedtime ||
        Root()->GetCurrentChild() != composedchild || Root()->GetEditTarget() != composedtarget)
      Compose();
    if (needpaint) Paint();
    if (!options.screenshot.empty()) {
      KORSurface *shot = canvas;
      const bool ok = WritePicture(shot, options.screenshot, &error);
      if (!ok) std::fprintf(stderr, "lumivaxel: %s\n", error.c_str());
      return ok ? 0 : 1;
    }
    SDL_Event e;
    if (SDL_WaitEventTimeout(&e, 200)) Handle(e);
    if (ui.QuitAsked()) quit = true;
  }
  return 0;
}

// ---- Menus ----

void editwindow::BuildMenus() {
  clip *root = Root();
  clip *c = root->GetCurrentChild();
  bar.menus.clear();
  const std::string undo = journal->CanUndo() ? std::string("Undo ") + journal->UndoName() : "Undo";
  const std::string redo = journal->CanRedo() ? std::string("Redo ") + journal->RedoName() : "Redo";
  bar.menus.push_back(
      Sub("File",
          {Item("New", HCMD_NEW, "Ctrl+N"), Item("Open...", HCMD_OPEN, "Ctrl+O"),
           Item("Save", HCMD_SAVE, "Ctrl+S"), Item("Save As...", HCMD_SAVE_AS, "Ctrl+Shift+S"), Separator(),
           Item("Import Media...", HCMD_IMPORT, "Ctrl+I"), Item("Add Text...", CMD_ADD_TEXT, "Ctrl+Shift+T"),
           Item("Add Gradient", CMD_ADD_GRADIENT, "Ctrl+Shift+G"), Item("Make...", HCMD_MAKE, "Ctrl+M"),
           Separator(), Item("Quit", HCMD_QUIT, "Ctrl+Q")}));
  menuentry audiomaster = Item(c && root->GetAudioMaster() == c ? "Remove Audio Master" : "Make Audio Master",
                               CMD_AUDIO_MASTER, "Ctrl+Shift+M");
  menuentry muteaudio = Item("Mute Audio", CMD_CLIP_MUTE_AUDIO, "Ctrl+Shift+A");
  muteaudio.checked = c && c->GetAudioMute();
  menuentry mutevideo = Item("Mute Video", CMD_CLIP_MUTE_VIDEO, "Ctrl+Shift+V");
  mutevideo.checked = c && c->GetVideoMute();
  menuentry undoitem = Item(undo, HCMD_UNDO, "Ctrl+Z"), redoitem = Item(redo, HCMD_REDO, "Ctrl+Y");
  undoitem.enabled = journal->CanUndo();
  redoitem.enabled = journal->CanRedo();
  bar.menus.push_back(Sub(
      "Edit",
      {undoitem, redoitem, Separator(), Item("Delete", CMD_CLIP_DELETE, "Delete"),
       Item("Duplicate", CMD_CLIP_DUPLICATE, "Ctrl+D"), Separator(), Item("Next Clip", CMD_CLIP_NEXT, "Tab"),
       Item("Previous Clip", CMD_CLIP_PREVIOUS, "Shift+Tab"), Separator(), muteaudio, mutevideo, audiomaster,
       Item("Mute All Other Audio", CMD_MUTE_OTHERS, "Ctrl+Alt+M")}));
  bar.menus.push_back(
      Sub("View",
          {Item("Zoom In", CMD_ARR_ZOOM_IN, "+"), Item("Zoom Out", CMD_ARR_ZOOM_OUT, "-"),
           Item("Zoom All", CMD_ARR_ZOOM_ALL, "0"), Separator(), Item("Band In", CMD_ARR_BAND_IN, "Ctrl+Up"),
           Item("Band Out", CMD_ARR_BAND_OUT, "Ctrl+Down"), Item("Band All", CMD_ARR_BAND_ALL, "Ctrl+0"),
           Separator(), Item("Scroll Left", CMD_ARR_SCROLL_LEFT, "Ctrl+Left"),
           Item("Scroll Right", CMD_ARR_SCROLL_RIGHT, "Ctrl+Right")}));
  const std::string quantize = std::string(vemo::GetStringPtr(mtime::ID_QUANTIZE)) + ": " +
                               vemo::GetStringPtr(root->GetMTime().GetQuantize());
  bar.menus.push_back(
      Sub("Time",
          {Item("Next Frame", CMD_TIME_FRAME_NEXT, "Right"),
           Item("Previous Frame", CMD_TIME_FRAME_PREVIOUS, "Left"), Item("Start", CMD_TIME_START, "Home"),
           Item("End", CMD_TIME_END, "End"), Separator(), Item("Set Locator", CMD_SET_LOCATOR, "L"),
           Item("Make Start Time", CMD_MAKE_START_HERE, "["), Item("Make End Time", CMD_MAKE_END_HERE, "]"),
           Item("Go To Time...", HCMD_GOTO, "Ctrl+G"), Separator(), Item(quantize, CMD_QUANTIZE, "Q")}));
  // Variables > Show Variable > group > variable, from the edited object's tree.
  menuentry shown = Sub("Show Variable", {});
  if (vemotime *t = root->GetEditTarget()) {
    intarraytree tree;
    t->CollectTimeFloats(&tree);
    std::function<void(const intarraytree &, std::vector<menuentry> &)> add =
        [&](const intarraytree &from, std::vector<menuentry> &to) {
          for (const intarraytree::entry &e : from.Entries()) {
            if (e.branch) {
              to.push_back(Sub(e.text, {}));
              add(*e.branch, to.back().sub);
            } else {
              to.push_back(Item(e.text, CMD_SHOW_VARIABLE + e.value));
            }
          }
        };
    add(tree, shown.sub);
  }
  shown.enabled = !shown.sub.empty();
  // The colour chooser keys an object's red, green and blue at once (keys, tints).
  menuentry colour = Item("Choose Colour...", CMD_CHOOSE_COLOUR, "Ctrl+Shift+C");
  vemotime *shownobject = root->GetEditTarget();
  colour.enabled = shownobject && shownobject->GetTimeFloatMgr().timefloatget(fxid::IDS_RED) >= 0 &&
                   shownobject->GetTimeFloatMgr().timefloatget(fxid::IDS_BLUE) >= 0;
  bar.menus.push_back(
      Sub("Variables",
          {Item("Commit", CMD_COMMIT, "Ctrl+Return"), Item("Revert", CMD_REVERT, "Ctrl+R"), Separator(),
           Item(vemo::GetStringPtr(191), CMD_GROUP_NEXT, "G"), Item("Next Variable", CMD_VARIABLE_NEXT, "V"),
           shown, Separator(), Item(vemo::GetStringPtr(614), CMD_KEY_NEXT, "."),
           Item(vemo::GetStringPtr(615), CMD_KEY_PREVIOUS, ","), Item("Delete Key", CMD_KEY_DELETE, "K"),
           Separator(), Item("Forward Release", CMD_RELEASE_FORWARD, "Ctrl+1"),
           Item("Backward Release", CMD_RELEASE_BACKWARD, "Ctrl+2"),
           Item("Bidirectional Release", CMD_RELEASE_BIDIRECTIONAL, "Ctrl+3"),
           Item("Invert", CMD_INVERT, "Ctrl+4"), Item("Normalize", CMD_NORMALIZE, "Ctrl+5"), colour, Separator(),
           Sub("Variable Clipboard", {Item("Get Variable From", CMD_VARIABLE_COPY, "Ctrl+C"),
                                      Item("Put Variable To", CMD_VARIABLE_PASTE, "Ctrl+V")})}));

  // Effect > Add > group > type, in the table's order; then the clip's own effects.
  std::vector<menuentry> groups;
  size_t count = 0;
  const effecttype *types = EffectTypes(&count);
  const bool plugins =
      project->Surfaces()->Plugins().VideoEffectCount() + project->Surfaces()->Plugins().AudioEffectCount() >
      0;
  for (size_t i = 0; i < count; ++i) {
    const effecttype &t = types[i];
    if (!t.create) continue;
    if (std::string(t.group) == fxmenu::kPluginEffects && !plugins) continue;
    auto g =
        std::find_if(groups.begin(), groups.end(), [&](const menuentry &m) { return m.text == t.group; });
    if (g == groups.end()) g = groups.insert(groups.end(), Sub(t.group, {}));
    g->sub.push_back(
        Item(EffectName(t.type),
             (t.kind == effectkind::video ? CMD_VIDEO_EFFECT_ADD : CMD_AUDIO_EFFECT_ADD) + t.type));
  }
  std::vector<menuentry> currentvideo, currentaudio;
  for (int i = 0; c && i < c->GetVideoEffectCount(); ++i) {
    menuentry e = Item(std::to_string(i + 1) + "  " + EffectName(c->GetVideoEffect(i)->GetID()),
                       CMD_CURRENT_VIDEO_EFFECT + i);
    e.checked = root->GetEditTargetKind() == clip::EDIT_VIDEO_EFFECT && c->GetCurrentVideoEffect() == i;
    currentvideo.push_back(e);
  }
  for (int i = 0; c && i < c->GetAudioEffectCount(); ++i)
    currentaudio.push_back(Item(std::to_string(i + 1) + "  " + EffectName(c->GetAudioEffect(i)->GetID()),
                                CMD_CURRENT_AUDIO_EFFECT + i));
  menuentry cv = Sub(fxmenu::kCurrentVideoEffect, currentvideo),
            ca = Sub(fxmenu::kCurrentAudioEffect, currentaudio);
  cv.enabled = !currentvideo.empty();
  ca.enabled = !currentaudio.empty();
  bar.menus.push_back(
      Sub(fxmenu::kEffect,
          {Sub(fxmenu::kAdd, groups), Item(fxmenu::kClearAll, CMD_EFFECT_CLEAR_ALL, "Ctrl+Shift+Delete"),
           Separator(), cv, ca, Item("Clip Variables", CMD_EDIT_CLIP, "E"), Separator(),
           Item("Move Effect Up", CMD_EFFECT_UP, "Ctrl+PageUp"),
           Item("Move Effect Down", CMD_EFFECT_DOWN, "Ctrl+PageDown"),
           Item(effect::SwitchText(520, true), CMD_EFFECT_TOGGLE, "T"),
           Item(effect::SwitchText(519, true), CMD_EFFECT_ENABLE, "Ctrl+T"),
           Item("Delete Effect", CMD_EFFECT_DELETE, "Shift+Delete")}));

  std::vector<menuentry> sizes, rates;
  for (int i = 0; clip::CLIP_VIDEO_FORMATS[i]; ++i) {
    menuentry e =
        Item(vemo::GetStringPtr(clip::CLIP_VIDEO_FORMATS[i]), CMD_VIDEO_FORMAT + clip::CLIP_VIDEO_FORMATS[i]);
    e.checked = root->GetVideoFormat() == clip::CLIP_VIDEO_FORMATS[i];
    sizes.push_back(e);
  }
  for (int i = 0; clip::CLIP_FPS_OPTIONS[i]; ++i) {
    menuentry e =
        Item(vemo::GetStringPtr(clip::CLIP_FPS_OPTIONS[i]), CMD_VIDEO_FPS + clip::CLIP_FPS_OPTIONS[i]);
    e.checked = root->GetFpsOption() == clip::CLIP_FPS_OPTIONS[i];
    rates.push_back(e);
  }
  bar.menus.push_back(Sub("Project", {Sub("Picture Size", sizes), Sub("Frame Rate", rates)}));
  bar.menus.push_back(Sub("Help", {Item("Help", HCMD_HELP, "F1"), Item("Keys", HCMD_KEYS, "Ctrl+F1")}));
}

// ---- Events ----

void editwindow::Handle(const SDL_Event &e) {
  const uint16_t mod = SDL_GetModState();
  switch (e.type) {
    case SDL_QUIT:
      if (CloseProject()) quit = true;
      break;
    case SDL_WINDOWEVENT:
      needpaint = true;
      break;
    case SDL_MOUSEMOTION:
      Mouse(WM_MOUSEMOVE, POINT{e.motion.x, e.motion.y}, Keys(e.motion.state, mod));
      break;
    case SDL_MOUSEBUTTONDOWN:
    case SDL_MOUSEBUTTONUP: {
      const bool down = e.type == SDL_MOUSEBUTTONDOWN;
      uint32_t message = 0;
      if (e.button.button == SDL_BUTTON_LEFT)
        message = down ? (e.button.clicks == 2 ? WM_LBUTTONDBLCLK : WM_LBUTTONDOWN) : WM_LBUTTONUP;
      else if (e.button.button == SDL_BUTTON_RIGHT)
        message = down ? WM_RBUTTONDOWN : WM_RBUTTONUP;
      else if (e.button.button == SDL_BUTTON_MIDDLE)
        message = down ? WM_MBUTTONDOWN : WM_MBUTTONUP;
      if (message)
        Mouse(message, POINT{e.button.x, e.button.y}, Keys(SDL_GetMouseState(nullptr, nullptr), mod));
      break;
    }
    case SDL_MOUSEWHEEL: {
      int x = 0, y = 0;
      SDL_GetMouseState(&x, &y);
      const int delta = std::clamp(e.wheel.y, -100, 100) * 120;
      Mouse(WM_MOUSEWHEEL, POINT{x, y},
            int((uint32_t(uint16_t(int16_t(delta))) << 16) | uint32_t(Keys(0, mod))));
      break;
    }
    case SDL_KEYUP:
      if ((e.key.keysym.sym == SDLK_LALT || e.key.keysym.sym == SDLK_RALT) && altalone && !bar.IsOpen()) {
        BuildMenus();
        bar.OpenFirst();
        needpaint = true;
      }
      altalone = false;
      break;
    case SDL_TEXTINPUT:
      if (!bar.IsOpen())
        for (const char *c = e.text.text; *c; ++c) Flags(Root()->QueryAction(nullptr, WM_CHAR, MouseAt(), uint8_t(*c)));
      break;
    case SDL_KEYDOWN: {
      const SDL_Keycode k = e.key.keysym.sym;
      if (k != SDLK_LALT && k != SDLK_RALT) altalone = false;
      int command = 0;
      // A text field being typed into takes every key before the menus' keys.
      if (!bar.IsOpen()) {
        const int vk = k == SDLK_BACKSPACE                        ? VK_BACK
                       : k == SDLK_RETURN || k == SDLK_KP_ENTER ? VK_RETURN
                       : k == SDLK_ESCAPE                         ? VK_ESCAPE
                                                                  : int(k);
        if (const uint32_t typed = Root()->QueryAction(nullptr, WM_KEYDOWN, MouseAt(), vk)) {
          Flags(typed);
          break;
        }
      }
      if (bar.IsOpen()) {
        bar.Key(k, &command);
        needpaint = true;
      } else if (k == SDLK_LALT || k == SDLK_RALT) {
        altalone = !e.key.repeat || altalone;
      } else if (k == SDLK_F10) {
        BuildMenus();
        bar.OpenFirst();
        needpaint = true;
      } else {
        BuildMenus();
        command = bar.KeyCommand(k, e.key.keysym.mod);
        if (!command && k == SDLK_z && (mod & KMOD_CTRL) && (mod & KMOD_SHIFT)) command = HCMD_REDO;
        if (!command && (k == SDLK_EQUALS || k == SDLK_KP_PLUS)) command = CMD_ARR_ZOOM_IN;
      }
      if (command) Execute(command);
      break;
    }
    default:
      break;
  }
}

POINT editwindow::MouseAt() const {
  int x = 0, y = 0;
  SDL_GetMouseState(&x, &y);
  return POINT{x, y};
}

void editwindow::Mouse(uint32_t message, POINT pt, int keys) {
  int command = 0;
  if (!captured && (bar.IsOpen() || pt.y < menubar::kHeight) && message != WM_MOUSEWHEEL) {
    if (!bar.IsOpen() && message == WM_LBUTTONDOWN) BuildMenus();
    const bool wasopen = bar.IsOpen();
    if (bar.Mouse(message, pt, &command)) {
      if (wasopen || bar.IsOpen()) needpaint = true;
      if (command) Execute(command);
      return;
    }
  }
  Flags(Root()->QueryAction(nullptr, message, pt, keys));
  if (message == WM_MOUSEMOVE) needpaint = true;  // the tool tip follows the mouse
}

void editwindow::Flags(uint32_t flags) {
  if (flags & QA_CAPTURE) {
    captured = true;
    SDL_CaptureMouse(SDL_TRUE);
  }
  if (flags & QA_RELEASE) {
    captured = false;
    SDL_CaptureMouse(SDL_FALSE);
  }
  if (flags & (QA_UPDATE | QA_CHANGED)) needpaint = true;
  if (flags & QA_CHANGED) needcompose = true;
  if (flags & QA_CHANGED) UpdateTitle();
}

void editwindow::Execute(int command) {
  clip *root = Root();
  switch (command) {
    case HCMD_NEW:
      if (CloseProject()) {
        project->New();
        path.clear();
        FollowJournal();
        root->SetClean();
        needcompose = true;
        SetStatus("New project");
      }
      break;
    case HCMD_OPEN:
      OpenProject();
      break;
    case HCMD_SAVE:
      if (path.empty())
        SaveAs();
      else
        SaveTo(path);
      break;
    case HCMD_SAVE_AS:
      SaveAs();
      break;
    case HCMD_IMPORT:
      ImportMedia();
      break;
    case HCMD_MAKE:
      MakeFile();
      break;
    case HCMD_QUIT:
      if (CloseProject()) quit = true;
      break;
    case HCMD_UNDO:
    case HCMD_REDO: {
      const bool undo = command == HCMD_UNDO;
      const std::string name = undo ? journal->UndoName() : journal->RedoName();
      if (undo ? journal->Undo() : journal->Redo()) {
        root->Dirty();
        SetStatus((undo ? "Undone: " : "Done again: ") + name);
      } else {
        SetStatus(undo ? "Nothing to undo" : "Nothing to redo");
      }
      needcompose = true;
      Flags(QA_UPDATE);
      break;
    }
    case HCMD_HELP:
      ShowHelpBox();
      break;
    case HCMD_KEYS:
      ShowKeys();
      break;
    case HCMD_GOTO: {
      char now[32];
      vemo::CliptimeToString(root->GetCurrentTime(), now);
      std::string text = now;
      int t = 0;
      if (ui.AskText(nullptr, "Go To Time", "The time in seconds:", text) &&
          vemo::StringToCliptime(text.c_str(), &t))
        Flags(root->SetTime(std::clamp(t, 0, root->GetSize())));
      break;
    }
    default: {
      uint32_t r = 0;
      root->QueryCommand(nullptr, command, &r);
      Flags(r);
      break;
    }
  }
  needpaint = true;
  UpdateTitle();
}

// ---- Painting ----

void editwindow::Compose() {
  needcompose = false;
  clip *root = Root();
  root->SetCurrentTime(root->GetCurrentTime());
  root->ClipVideoComposite(CLIP_COMPOSE_EDIT);
  composedtime = root->GetCurrentTime();
  composedchild = root->GetCurrentChild();
  composedtarget = root->GetEditTarget();
}

void editwindow::PaintWith(const std::function<void(HDC, RECT)> &overlay) {
  SDL_GetRendererOutputSize(renderer, &width, &height);
  if (width < 1 || height < 1) return;
  if (!canvas || canvas->width != width || canvas->height != height) {
    if (canvas) surface::SurfaceDelete(canvas);
    if (texture) SDL_DestroyTexture(texture);
    canvas = surface::SurfaceCreate(width, height);
    texture =
        SDL_CreateTexture(renderer, SDL_PIXELFORMAT_ARGB8888, SDL_TEXTUREACCESS_STREAMING, width, height);
    if (!canvas || !texture) return;
    SDL_SetTextureBlendMode(texture, SDL_BLENDMODE_NONE);
  }
  surf locked{};
  if (!surface::SurfaceDataLock(canvas, &locked)) return;
  {
    dc hdc(reinterpret_cast<pix32 *>(locked.bits), width, height, locked.pitch);
    clip *root = Root();
    root->Layout(Client());
    if (options.verbose) PrintLayout();
    root->Draw(&hdc, Client(), 0);

    // The status line: what was done last on the left, where we are on the right.
    const RECT line{0, height - kStatusHeight, width, height};
    vemo::DrawRectangle(&hdc, line, ui::kPanel);
    hdc.FillRect(RECT{0, line.top, width, line.top + 1}, ui::kLine);
    const font before = vemo::VemoSelectFont(&hdc, ui::kFont - 1);
    RECT left = vemo::Reduce(line, 3);
    left.left += 6;
    left.right -= 6;
    vemo::DrawTextOnly(&hdc, (progress.empty() ? status : progress).c_str(), left, ui::kText,
                       DT_LEFT | DT_VCENTER | DT_SINGLELINE);
    if (progressfraction >= 0) {
      const RECT track{width / 3, line.top + 6, width * 2 / 3, line.bottom - 6};
      vemo::DrawRectangle(&hdc, track, ui::kWindow, ui::kLine);
      hdc.FillRect(
          RECT{track.left + 1, track.top + 1,
               track.left + 1 + int((track.right - track.left - 2) * progressfraction), track.bottom - 1},
          ui::kMake);
    }
    const int t = root->GetCurrentTime();
    std::string where = TimeText(t) + "   frame " + std::to_string(clip::FrameAt(t, root->GetFps())) + "   " +
                        std::to_string(root->GetFps()) + " fps   " +
                        vemo::GetStringPtr(root->GetMTime().GetQuantize());
    vemo::DrawTextOnly(&hdc, where.c_str(), left, ui::kTextDim, DT_RIGHT | DT_VCENTER | DT_SINGLELINE);

    if (!bar.IsOpen()) BuildMenus();
    bar.Draw(&hdc, width);

    // The tool tip, beside the mouse and inside the window.
    if (!root->GetTip().empty() && !bar.IsOpen()) {
      SIZE s;
      hdc.GetTextExtentPoint32(root->GetTip().c_str(), -1, &s);
      const RECT at = root->GetTipRect();
      RECT box{at.left + 14, at.top + 18, at.left + 14 + s.cx + 12, at.top + 18 + s.cy + 8};
      if (box.right > width) vemo::Move(&box, width - box.right - 2, 0);
      if (box.bottom > height) vemo::Move(&box, 0, at.top - 4 - box.bottom);
      vemo::DrawRectangle(&hdc, box, RGB(250, 246, 220), ui::kLine);
      vemo::DrawTextOnly(&hdc, root->GetTip().c_str(), box, RGB(30, 30, 30),
                         DT_CENTER | DT_VCENTER | DT_SINGLELINE);
    }
    hdc.SelectFont(before);
    if (overlay) overlay(&hdc, RECT{0, 0, width, height});
  }
  SDL_UpdateTexture(texture, nullptr, locked.bits, locked.pitch * int(sizeof(pix32)));
  surface::SurfaceDataUnlock(&locked);
  SDL_RenderCopy(renderer, texture, nullptr, nullptr);
  SDL_RenderPresent(renderer);
}

void editwindow::Paint() {
  needpaint = false;
  PaintWith(nullptr);
}

void editwindow::PrintLayout() {
  clip *root = Root();
  std::string s;
  char b[512];
  const RECT a = root->GetArrangeArea();
  std::snprintf(b, sizeof b, "layout arrangement %d %d %d %d span %d start %d band %d\n", a.left, a.top,
                a.right, a.bottom, root->GetVisibleSpan(), root->GetViewStart(), root->GetBandHeight());
  s += b;
  for (int i = 0; i < root->GetChildCount(); ++i) {
    clip *c = root->GetChild(i);
    const RECT r = c->GetArrangeRect();
    std::snprintf(b, sizeof b, "layout clip \"%s\" %d %d %d %d track %d\n", c->GetName(), r.left, r.top,
                  r.right, r.bottom, c->GetTrack());
    s += b;
  }
  if (vemotime *t = root->GetEditTarget()) {
    if (timefloat *tf = t->GetTimeFloatMgr().GetEditCurve()) {
      const RECT r = tf->GetDrawRect();
      std::snprintf(b, sizeof b, "layout curve %s %d %d %d %d from %d to %d min %g max %g\n", tf->GetName(),
                    r.left, r.top, r.right, r.bottom, tf->GetViewFrom(), tf->GetViewTo(), tf->GetMinimum(),
                    tf->GetMaximum());
      s += b;
    }
    const RECT v = t->GetTimeFloatMgr().GetValueField().UIGetRect();
    std::snprintf(b, sizeof b, "layout value %d %d %d %d\n", v.left, v.top, v.right, v.bottom);
    s += b;
  }
  if (s == lastlayout) return;
  lastlayout = s;
  std::fputs(s.c_str(), stdout);
  std::fflush(stdout);
}

void editwindow::SetTitleNote(const std::string &n) {
  note = n;
  UpdateTitle();
}

void editwindow::SetStatus(const std::string &s) {
  status = s;
  needpaint = true;
  UpdateTitle();
}

void editwindow::UpdateTitle() {
  if (!window) return;
  std::string title = path.empty() ? "Untitled" : BaseName(path);
  if (Root()->isDirty()) title += "*";
  title += " - " + (note.empty() ? status : note);
  SDL_SetWindowTitle(window, title.c_str());
}

// ---- Files ----

bool editwindow::AskToCommit(const char *what) {
  clip *root = Root();
  if (!root->ClipHasPendingEdits()) return true;
  if (!vemo::AskForOk("Question", kCommitQuestion)) {
    SetStatus(std::string(what) + " cancelled");
    return false;
  }
  editstep step(root, "Commit");
  ClipWalk(root, [&](clip *c, int) {
    if (c->ClipHasPendingEdits()) journal->Changing(c);
  });
  root->Commit();
  needpaint = true;
  return true;
}

bool editwindow::SaveTo(const std::string &target) {
  if (!AskToCommit("Saving")) return false;
  if (!project->Save(target.c_str())) {
    ui.MessageBox(nullptr, ("The project could not be written to " + target).c_str(), "Error", boxbuttons::ok,
                  boxicon::exclamation);
    SetStatus("Not saved");
    return false;
  }
  path = target;
  Root()->SetClean();
  SetStatus("Saved " + target);
  return true;
}

bool editwindow::SaveAs() {
  std::string target = path.empty() ? "untitled.vmp" : path;
  if (!ui.FileDialog(nullptr, true, "Save Project As", "*.vmp", target)) return false;
  if (target.size() < 4 || target.compare(target.size() - 4, 4, ".vmp") != 0) target += ".vmp";
  return SaveTo(target);
}

bool editwindow::CloseProject() {
  if (!Root()->isDirty()) return true;
  switch (clip::AskForSave()) {
    case IDYES:
      return path.empty() ? SaveAs() : SaveTo(path);
    case IDNO:
      return true;
    default:
      SetStatus("Still open");
      return false;
  }
}

void editwindow::OpenProject() {
  if (!CloseProject()) return;
  std::string target = path;
  if (!ui.FileDialog(nullptr, false, "Open Project", "*.vmp", target)) return;
  // The old history goes before the tree it describes is replaced.
  Root()->SetEditLog(nullptr);
  if (!project->Load(target.c_str())) {
    ui.MessageBox(nullptr, ("Not a readable project: " + target).c_str(), "Error", boxbuttons::ok,
                  boxicon::exclamation);
    path.clear();
  } else {
    path = target;
  }
  clip *root = Root();
  root->SetClean();
  if (root->GetChildCount()) root->SelectCurrent(root->GetChild(0));
  SetStatus(path.empty() ? "New project" : "Opened " + path);
  FollowJournal();
  needcompose = true;
  Flags(QA_UPDATE);
}

void editwindow::FollowJournal() {
  clip *root = Root();
  root->SetEditLog(nullptr);
  journal.reset();
  // A screenshot only looks: it neither asks about nor writes down edits.
  journal = OpenEditJournal(root, options.screenshot.empty() ? path.c_str() : "");
  if (!journal->Report().empty()) SetStatus(journal->Report());
  if (journal->Report().rfind("recovered", 0) == 0) root->Dirty();
  needcompose = true;
  Flags(QA_CHANGED | QA_UPDATE);
}

void editwindow::ImportMedia() {
  std::string file;
  if (!ui.FileDialog(nullptr, false, "Import Media", "*.avi;*.mp4;*.wav;*.jpg;*.png;*.bmp", file)) return;
  clip *root = Root();
  editstep step(root, "Import");
  root->ClipCriticalStart();
  clip *c = ClipAddMedia(root, file.c_str(), root->GetCurrentTime(), root->ClipTrackCount());
  root->ClipCriticalEnd();
  if (!c) {
    ui.MessageBox(nullptr, ("The medium could not be read: " + file).c_str(), "Error", boxbuttons::ok,
                  boxicon::exclamation);
    return;
  }
  c->SetCurrentTime(root->GetCurrentTime());
  root->Dirty();
  SetStatus("Imported " + BaseName(file));
  Flags(QA_CHANGED | QA_UPDATE);
}

void editwindow::MakeFile() {
  if (!AskToCommit("Making")) return;
  clip *root = Root();
  std::string target =
      path.empty() ? "made.avi" : path.substr(0, path.size() - (path.size() > 4 ? 4 : 0)) + ".avi";
  if (!ui.FileDialog(nullptr, true, "Select Export File Name", "*.avi;*.mp4;*.wav", target)) return;
  KORPlugin *plugin = project->Surfaces()->Plugins().FindExportForFile(target.c_str());
  if (!plugin) {
    ui.MessageBox(nullptr, ("No export plugin writes " + BaseName(target)).c_str(), "Error", boxbuttons::ok,
                  boxicon::exclamation);
    return;
  }
  const int now = root->GetCurrentTime();
  progress = "Making " + BaseName(target) + "   (Escape stops)";
  progressfraction = 0;
  root->SetMakeProgress([&](int done, int count) {
    progressfraction = count > 0 ? double(done) / count : 0;
    Paint();
  });
  root->SetMessagePump([&] {
    SDL_Event e;
    while (SDL_PollEvent(&e)) {
      if ((e.type == SDL_KEYDOWN && e.key.keysym.sym == SDLK_ESCAPE) || e.type == SDL_QUIT) root->Stop();
    }
  });
  SetTitleNote("Making");
  const int r = root->ClipMakeFile(plugin->object, target.c_str());
  SetTitleNote("");
  root->SetMakeProgress(nullptr);
  root->SetMessagePump(nullptr);
  progress.clear();
  progressfraction = -1;
  root->SetCurrentTime(now);
  needcompose = true;
  SetStatus(r == 1 ? "Made " + target : r == 128 ? "Making stopped: " + target : "Making failed: " + target);
}

void editwindow::ShowHelpBox() {
  clip *root = Root();
  vemotime *t = root->GetEditTarget();
  int topic = 0;
  if (t && t != root->GetCurrentChild())
    topic = t->GetID();  // an effect: its type
  else if (t && t->GetTimeFloatMgr().GetEditCurve())
    topic = t->GetTimeFloatMgr().GetEditCurve()->GetID();
  root->Help(nullptr, topic);
  const int shown = root->TakeHelpTopic();
  const std::string text = shown ? clip::HelpText(shown) : std::string();
  ui.MessageBox(
      nullptr,
      (text.empty()
           ? std::string("Select a clip in the arrangement; its variables and effects show on the right.")
           : text)
          .c_str(),
      shown ? vemo::GetStringPtr(shown) : "Help", boxbuttons::ok, boxicon::information);
}

void editwindow::ShowKeys() {
  BuildMenus();
  std::vector<std::string> lines;
  std::function<void(const std::vector<menuentry> &)> walk = [&](const std::vector<menuentry> &list) {
    for (const menuentry &e : list) {
      if (!e.key.empty()) lines.push_back(e.key + "   " + e.text);
      walk(e.sub);
    }
  };
  walk(bar.menus);
  lines.push_back("F10 or Alt   the menus");
  ui.Choose(nullptr, "Keys", lines);
}
