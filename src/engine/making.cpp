// The root's worker, the critical section, the stop request and the make loop that hands each
// frame's picture and sound to an export plugin.
#include <algorithm>
#include <string>

#include "core/dialogs.h"
#include "engine/clip.h"
#include "engine/worker.h"
#include "media/plugin_abi.h"
#include "media/surface.h"

namespace {

constexpr const char *kNothingToMake = "No Audio and no Video available for making.";
constexpr const char *kMakeFailed = "The Lumi-Vaxel make operation failed....";
constexpr uint32_t kStopped = 128;  // the result word of Stop

void MakeFailed(clip *root) {
  Dialogs().MessageBox(root->GetWindow(), kMakeFailed, "Error", boxbuttons::ok, boxicon::exclamation);
}

// The chosen name with the plugin's extension in place of its own (or added when it has none).
std::string ForceExtension(const std::string &path, const char *extension) {
  if (!extension || !extension[0]) return path;
  const std::string ext = extension[0] == '.' ? extension : std::string(".") + extension;
  const size_t slash = path.find_last_of('/');
  const size_t dot = path.find_last_of('.');
  const std::string stem =
      dot != std::string::npos && (slash == std::string::npos || dot > slash) ? path.substr(0, dot) : path;
  return stem + ext;
}

}  // namespace

// ---- Worker and critical section ----

bool clip::StartWorker() {
  clip *root = GetRootClip();
  if (!root->worker) root->worker = new clipworker(&clip::ThreadHandler, root, &root->criticalcount);
  return root->worker->Running();
}

void clip::EndWorker() {
  stoppending = true;  // a play job waiting for its queue to drain ends now
  delete worker;       // waits for the running job, posts quit and joins
  worker = nullptr;
}

bool clip::PostJob(int job) {
  clip *root = GetRootClip();
  if (!root->StartWorker()) return false;
  return root->worker->Post(job);
}

int clip::ThreadHandler(unsigned int job, void *data) {
  clip *root = static_cast<clip *>(data);
  if (!root) return 0;
  switch (job) {
    case CLIP_JOB_COMPOSE:
      // While making, the window shows what the make loop composes.
      if (root->GetWindow() && (root->busystate & 1)) return 1;
      return root->ClipComposite();
    case CLIP_JOB_MAKE:
      return root->ClipMakeOutput(root->makeplugin);
    case CLIP_JOB_PLAY:
      return root->ClipPlay(job);
    default:
      return 1;
  }
}

bool clip::WaitForIdle() {
  clip *root = GetRootClip();
  if (!root->worker) return false;
  return root->worker->WaitForIdle();
}

int clip::ClipCriticalStart() {
  clip *root = GetRootClip();
  const int count = ++root->criticalcount;
  if (root->worker) root->worker->WaitWhileRunning();
  return count;
}

int clip::ClipCriticalEnd() {
  clip *root = GetRootClip();
  return --root->criticalcount;
}

void clip::SetProcessingCallback(message_fn fn) {
  // The worker reads the callback while it runs a job: it changes only between jobs.
  ClipCriticalStart();
  messagefn = std::move(fn);
  ClipCriticalEnd();
}

void clip::WinMsgs() {
  clip *root = GetRootClip();
  if (root->pumpfn) root->pumpfn();
}

// ---- Make ----

int clip::StartMaking(imgio_export *plugin) {
  clip *root = GetRootClip();
  if (!plugin) return 0;
  root->makehasaudio = root->CheckAudio();
  root->makehasvideo = root->CheckVideo();
  if (!root->makehasaudio && !root->makehasvideo) {
    Dialogs().MessageBox(root->GetWindow(), kNothingToMake, "Error", boxbuttons::ok, boxicon::exclamation);
    return 0;
  }
  if (!plugin->CanEncode(root->makehasaudio, root->makehasvideo)) {
    MakeFailed(root);
    return 0;
  }
  std::string file;
  if (!Dialogs().FileDialog(root->GetWindow(), true, "Select Export File Name", plugin->GetFileTypes(),
                            file) ||
      file.empty())
    return 0;
  return ClipMakeFile(plugin, file.c_str());
}

int clip::ClipMakeFile(imgio_export *plugin, const char *path) {
  clip *root = GetRootClip();
  if (!plugin || !path || !path[0]) return 0;
  root->makehasaudio = root->CheckAudio();
  root->makehasvideo = root->CheckVideo();
  if (!root->makehasaudio && !root->makehasvideo) return 0;
  if (!plugin->CanEncode(root->makehasaudio, root->makehasvideo)) {
    MakeFailed(root);
    return 0;
  }
  const std::string file = ForceExtension(path, plugin->GetExtension());
  if (root->makehasaudio) root->InitWFX(95);
  const RECT r = root->GetSurfaceRectangle();
  if (!plugin->SetInfo(file.c_str(), root->makehasvideo, r.right - r.left, r.bottom - r.top, root->GetFps(),
                       root->makehasaudio)) {
    MakeFailed(root);
    return 0;
  }
  root->WaitForIdle();
  root->busystate |= 1;
  const int result = root->ClipMakeOutput(plugin);
  root->busystate &= ~1;
  return result;
}

int clip::ClipMakeOutput(imgio_export *plugin) {
  clip *root = GetRootClip();
  if (!plugin) return 0;
  root->makeplugin = plugin;
  root->stoppending = false;
  int16_t *buffer = nullptr, *work1 = nullptr, *work2 = nullptr;
  if (root->makehasaudio) {
    buffer = root->ClipAllocAudioProcessingBuffer(&work1, &work2);
    if (!buffer) {
      MakeFailed(root);
      return 0;
    }
  }
  const int start = root->GetMakeStart();
  const int length = root->GetMakeEnd() - start;
  const int count = MakeFrameCount(root->GetFps(), length);
  const int first = std::clamp(root->makefirst, 0, count);
  const int last = root->makelast < 0 ? count : std::clamp(root->makelast, first, count);

  root->MakeTellPlugin(plugin, length > 0 ? length : 0);
  if (!plugin->Open(root->GetWindow())) {
    plugin->Close();
    MakeFailed(root);
    return 0;
  }
  bool failed = false;
  int i = first;
  for (; i < last && !root->stoppending.load() && !failed; ++i) {
    root->WinMsgs();
    const int64_t t = MakeFrameTime(start, length, count, i);
    const int64_t framelength = MakeFrameTime(start, length, count, i + 1) - t;
    root->SetCurrentTime(int(t));
    if (root->makehasvideo) {
      KORSurface *picture = nullptr;
      if (root->makeframes) {
        picture = root->makeframes(i);
      } else {
        root->ClipVideoComposite(CLIP_COMPOSE_MAKE);
        KORSurface *display = root->GetWorkSurface(CLIP_SURFACE_DISPLAY);
        picture = root->GetDestinationSurface();
        // The display is what a window shows: without one nobody looks at it.
        if (root->GetWindow() && display && picture && display != picture) surface::SurfaceCopy(picture, display);
      }
      surf locked{};
      if (!picture || !surface::SurfaceDataLock(picture, &locked)) {
        root->stoppending = true;
      } else {
        surf32 frame{locked.width, locked.height, locked.pitch, locked.bits};
        if (!plugin->PutVideo(i, &frame)) failed = true;
        surface::SurfaceDataUnlock(&locked);
      }
    }
    if (root->progressfn) root->progressfn(i + 1 - first, last - first);
    if (root->makehasaudio && !failed) {
      const int bytes = MakeSoundBytes(framelength);
      int16_t *sound = buffer;
      if (root->makesounds)
        sound = root->makesounds(i);
      else
        root->MixMadeSound(buffer, work1, work2, int(framelength), bytes);
      if (!sound || !plugin->PutAudio(i, sound, bytes)) failed = true;
    }
    root->WinMsgs();
  }
  const bool closed = plugin->Close() != 0;
  if (failed || !closed) {
    MakeFailed(root);
    return 0;
  }
  root->MakeOpenResult(plugin);
  return root->stoppending.load() && i < last ? int(kStopped) : 1;
}
