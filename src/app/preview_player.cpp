// The preview's player: keys, the play job's pictures by the sound clock, the shuttle.
#include "app/preview_player.h"

#include <SDL.h>

#include <cstdio>

#include "app/preview_audio.h"
#include "app/preview_window.h"
#include "engine/playqueue.h"
#include "engine/project.h"

previewplayer::previewplayer(vemoproject &p, previewwindow &w, previewaudio &a, playqueue &q)
    : project(p), window(w), audio(a), queue(q) {
  fps = p.Root()->GetFps() > 0 ? p.Root()->GetFps() : 15;
  end = p.Length();
  p.Root()->SetPlayOutput(&queue);
}

int previewplayer::Run(int at, bool paused) {
  Show(at);
  if (!paused) Play(false);
  while (!quit) {
    SDL_Event e;
    // Playing looks at the clock every few ms; a still picture only waits for the next key.
    if (SDL_WaitEventTimeout(&e, speed ? 4 : 100)) {
      do {
        if (e.type == SDL_QUIT) quit = true;
        if (e.type == SDL_KEYDOWN) Act(KeyAction(e.key.keysym.sym, (e.key.keysym.mod & KMOD_SHIFT) != 0));
        if (e.type == SDL_WINDOWEVENT) window.DrawRoot();
      } while (!quit && SDL_PollEvent(&e));
    }
    if (!quit) Tick();
  }
  Halt();
  project.Root()->SetPlayOutput(nullptr);
  return 0;
}

int previewplayer::Dropped() const { return droppedbefore + queue.Dropped(); }

void previewplayer::Act(previewaction a) {
  const int step = 1000;
  note.clear();
  // Any move ends a medium playing on its own and comes back to the composite where it was.
  if (media && a != previewaction::quit && a != previewaction::screenshot && a != previewaction::fullscreen) {
    Show(resume);
    if (a == previewaction::playpause || a == previewaction::pause || a == previewaction::media) return;
  }
  switch (a) {
    case previewaction::playpause:
      if (speed)
        Halt();
      else
        Play(false);
      break;
    case previewaction::stepback:
      Show(clip::FrameStart(frame - 1, fps));
      break;
    case previewaction::stepforward:
      Show(clip::FrameStart(frame + 1, fps));
      break;
    case previewaction::secondback:
      Seek(time - step);
      break;
    case previewaction::secondforward:
      Seek(time + step);
      break;
    case previewaction::home:
      Seek(0);
      break;
    case previewaction::end:
      Seek(end);
      break;
    case previewaction::reverse:
      Shuttle(ShuttleSpeed(speed, false));
      break;
    case previewaction::pause:
      Halt();
      break;
    case previewaction::forward: {
      const int s = ShuttleSpeed(speed, true);
      if (s == 1)
        Play(false);
      else
        Shuttle(s);
      break;
    }
    case previewaction::fullscreen:
      window.ToggleFullscreen();
      break;
    case previewaction::media:
      Play(true);
      break;
    case previewaction::nextchild: {
      clip *root = project.Root();
      const int n = root->GetChildCount();
      if (!n) break;
      int i = 0;
      while (i < n && root->GetChild(i) != root->GetCurrentChild()) ++i;
      root->SelectCurrent(root->GetChild((i + 1) % n));
      note = std::string("current clip: ") + root->GetCurrentChild()->GetName();
      break;
    }
    case previewaction::screenshot: {
      const std::string path = "preview-" + std::to_string(frame) + ".png";
      std::string error;
      if (window.Screenshot(path, &error))
        std::printf("screenshot: %s\n", path.c_str());
      else
        std::fprintf(stderr, "lumivaxel: the screenshot failed: %s\n", error.c_str());
      std::fflush(stdout);
      break;
    }
    case previewaction::quit:
      quit = true;
      break;
    case previewaction::none:
      break;
  }
}

void previewplayer::Tick() {
  if (speed == 1)
    TickPlaying();
  else if (speed)
    TickShuttle();
  while (!recent.empty() && wallclock::now() - recent.front() > std::chrono::seconds(1)) recent.pop_front();
  window.SetStatus(Status());
  window.Refresh();
}

void previewplayer::TickPlaying() {
  if (priming) {
    // The device starts once the job is ahead, so it never begins with a gap.
    if (queue.SoundEnd() < queue.Origin() + clip::kPlaySoundLeadMs && !queue.Finished()) return;
    const char *why = nullptr;
    if (!audio.Start(&why)) {
      std::fprintf(stderr, "lumivaxel: no sound device (%s)\n", why ? why : "unknown");
      Halt();
      return;
    }
    priming = false;
  }
  const int clock = queue.Clock();
  int t = 0, f = 0;
  if (KORSurface *picture = queue.PictureDue(clock, &t, &f)) {
    window.BlitRoot(picture);
    queue.PictureDone();
    time = t;
    Presented(f);
  }
  const int behind = clip::FrameAt(clock, fps) - frame;
  if (behind > mostbehind) mostbehind = behind;
  if (queue.Finished() && !queue.PicturesWaiting() && !queue.SoundWaiting()) {
    if (media)
      Show(resume);
    else
      Halt();
  }
}

void previewplayer::TickShuttle() {
  const int64_t elapsed =
      std::chrono::duration_cast<std::chrono::milliseconds>(wallclock::now() - shuttlestart).count();
  int64_t t = shuttlefrom + speed * elapsed;
  const bool stop = t <= 0 || t >= end;
  if (t < 0) t = 0;
  if (t > end) t = end;
  if (clip::FrameAt(int(t), fps) != frame || stop) {
    const int keep = speed;
    Show(int(t));
    Presented(frame);
    speed = stop ? 0 : keep;
  }
}

void previewplayer::Halt() {
  clip *root = project.Root();
  if (root->GetBusyState() & 2) root->Stop();
  audio.Stop();
  droppedbefore += queue.Dropped();
  queue.Reset(time);
  speed = 0;
  media = false;
  priming = false;
}

void previewplayer::Play(bool m) {
  Halt();
  if (!m && time >= clip::FrameStart(clip::FrameAt(end - 1, fps), fps)) Show(0);  // from the end: again
  clip *root = project.Root();
  root->SetCurrentTime(time);  // the current child's position follows the time
  resume = time;
  if (!root->PlayStart(time, m)) {
    note = m ? "the current clip has no medium to play" : "nothing to play";
    return;
  }
  speed = 1;
  media = m;
  priming = true;
}

void previewplayer::Show(int t) {
  Halt();
  if (t < 0) t = 0;
  if (t > end) t = end;
  project.Root()->WaitForIdle();
  KORSurface *picture = project.Compose(t);
  time = t;
  frame = clip::FrameAt(t, fps);
  window.SetStatus(Status());
  if (picture) window.BlitRoot(picture);
}

void previewplayer::Seek(int t) {
  const bool playing = speed == 1 && !media;
  Show(t);
  if (playing) Play(false);
}

void previewplayer::Shuttle(int s) {
  Halt();
  speed = s;
  shuttlefrom = time;
  shuttlestart = wallclock::now();
}

void previewplayer::Presented(int f) {
  frame = f;
  ++shown;
  recent.push_back(wallclock::now());
}

std::string previewplayer::Status() const {
  char state[32];
  if (media)
    std::snprintf(state, sizeof state, "media");
  else if (speed == 0)
    std::snprintf(state, sizeof state, "paused");
  else if (speed == 1)
    std::snprintf(state, sizeof state, "playing");
  else
    std::snprintf(state, sizeof state, "%s x%d", speed > 0 ? "forward" : "reverse",
                  speed > 0 ? speed : -speed);
  const int drops = droppedbefore + queue.Dropped();
  char text[160];
  std::snprintf(text, sizeof text, "%s  %d:%02d.%03d  frame %d  %.1f fps", state, time / 60000,
                time / 1000 % 60, time % 1000, frame, speed ? double(recent.size()) : 0.0);
  std::string s = text;
  if (drops) s += "  dropped " + std::to_string(drops);
  if (!note.empty()) s += "  " + note;
  return s;
}
