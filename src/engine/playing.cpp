// The play job: the root's composite, or the current child's own medium, made ahead into the
// host's play queue; Stop, which ends it and cleans the media players up.
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "engine/clip.h"
#include "engine/playqueue.h"
#include "engine/worker.h"
#include "media/surface.h"

namespace {

constexpr uint32_t kStopped = 128;
// A second of a medium's sound goes into the queue while less than this lies ahead.
constexpr int kMediaSoundLeadMs = 1500;

void Nap() { std::this_thread::sleep_for(std::chrono::milliseconds(2)); }

// Frame i of a play from `from`: the frame times of making, so that the sound of a play equals
// the sound made over the same range.
int64_t PlayFrameTime(int from, int fps, int64_t i) { return from + i * 1000 / fps; }

}  // namespace

uint32_t clip::Stop() {
  clip *root = GetRootClip();
  root->stoppending = true;
  if (root->busystate.fetch_and(~2) & 2) {
    if (root->worker && !root->worker->OnThread()) root->worker->WaitForIdle();
    if (root->surfaces) root->surfaces->amplay::Cleanup();
  }
  return kStopped;
}

bool clip::PlayStart(int ms, bool media) {
  clip *root = GetRootClip();
  if (!root->playout) return false;
  root->Stop();
  root->WaitForIdle();
  int origin = ms;
  if (media) {
    clip *c = root->currentchild;
    if (!c || !c->GetFileName()[0] || (!c->stream && !c->avi && !c->wav)) return false;
    origin = c->CTMGetValue(c->GetCurrentTime());
    if (origin < 0) origin = 0;
  }
  root->playmedia = media;
  root->playout->Reset(origin);
  root->stoppending = false;
  root->busystate |= 2;
  if (!root->PostJob(CLIP_JOB_PLAY)) {
    root->busystate &= ~2;
    return false;
  }
  return true;
}

int clip::ClipPlay(unsigned int) {
  clip *root = GetRootClip();
  if (!root->playout || !(root->busystate.load() & 2)) return 1;
  if (root->playmedia)
    root->PlayMedia();
  else
    root->PlayArrangement();
  root->playout->SetFinished();
  root->busystate &= ~2;
  return 1;
}

void clip::PlayArrangement() {
  playqueue &q = *playout;
  const int rate = fps > 0 ? fps : 15;
  const int from = q.Origin();
  const int end = makeend > makestart ? makeend : GetSize();
  int16_t *work1 = nullptr, *work2 = nullptr;
  int16_t *buffer = ClipAllocAudioProcessingBuffer(&work1, &work2);
  if (!buffer) return;
  const bool audio = CheckAudio();
  KORSurface *picture = GetDestinationSurface();
  int64_t heard = 0, shown = 0;  // the next frame whose sound, whose picture is to be made
  // What composing a picture costs (ms), smoothed over the last few so one hiccup does not
  // count. A picture that would be over before it is ready is not begun.
  int64_t cost = 0;
  while (!stoppending.load()) {
    if (PlayFrameTime(from, rate, heard) >= end && (PlayFrameTime(from, rate, shown) >= end || !picture)) break;
    bool worked = false;
    // Sound first, filled up to the lead before any picture: it must never run dry, whatever
    // the pictures cost.
    for (int64_t ts = PlayFrameTime(from, rate, heard); ts < end && ts < q.Clock() + kPlaySoundLeadMs;
         ts = PlayFrameTime(from, rate, heard)) {
      const int64_t length = PlayFrameTime(from, rate, heard + 1) - ts;
      int64_t bytes = MakeAudioBytes(length);
      if (bytes > CLIP_AUDIO_WORK_BYTES) bytes = CLIP_AUDIO_WORK_BYTES;
      if (q.SoundRoom() < bytes / INTERNAL_BYTES_PER_FRAME) break;
      std::memset(buffer, 0, CLIP_AUDIO_WORK_BYTES);
      if (audio) {
        SetCurrentTime(int(ts));
        ClipAudioUpdate(CLIP_COMPOSE_MAKE);
        ClipAudioGet44100(buffer, work1, work2, int(length), int(bytes));
      }
      q.SoundPut(buffer, int(bytes / INTERNAL_BYTES_PER_FRAME));
      ++heard;
      worked = true;
    }
    // A picture whose frame will have gone by when it is ready is no use.
    const int clock = q.Clock();
    while (PlayFrameTime(from, rate, shown) < end && PlayFrameTime(from, rate, shown + 1) <= clock + cost) {
      ++shown;
      q.CountDrop();
    }
    const int64_t t = PlayFrameTime(from, rate, shown);
    KORSurface *slot = t < end && picture ? q.PictureToFill(picture->width, picture->height, clock) : nullptr;
    if (slot) {
      const auto begun = std::chrono::steady_clock::now();
      SetCurrentTime(int(t));
      if (ClipVideoComposite(CLIP_COMPOSE_MAKE)) surface::SurfaceCopy(picture, slot);
      const int64_t took =
          std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begun)
              .count();
      cost = (cost * 3 + took) / 4;
      q.PicturePut(int(t), FrameAt(int(t), rate));
      ++shown;
      worked = true;
    }
    if (!worked) Nap();
  }
}

void clip::PlayMedia() {
  playqueue &q = *playout;
  clip *c = currentchild;
  if (!c || !surfaces) return;
  amplay &players = *surfaces;
  players.SetWindow(GetWindow());
  if (!players.OpenVideo(c->GetFileName(), outputrect)) return;
  amread &player = players.Player(0);
  const int rate = fps > 0 ? fps : 15;
  const int from = q.Origin();
  const int end = player.Duration();
  player.Seek(from);
  int sound = from;
  int64_t shown = 0;
  const std::vector<int16_t> silence(size_t(INTERNAL_RATE) * 2, 0);
  while (!stoppending.load()) {
    const int clock = q.Clock();
    // Once the last sound has been pulled the medium has played to its end (the clock, counted
    // in whole milliseconds, may stop just short of it).
    player.Update(sound >= end && !q.SoundWaiting() ? end : clock);
    if (player.HandleEvent()) break;
    bool worked = false;
    if (sound < end && q.SoundEnd() < clock + kMediaSoundLeadMs && q.SoundRoom() >= INTERNAL_RATE) {
      const int16_t *second = player.AudioSecond(sound);
      // Without sound (or past it) silence keeps the clock going.
      const int ms = end - sound < 1000 ? end - sound : 1000;
      q.SoundPut(second ? second : silence.data(), int(int64_t(ms) * INTERNAL_RATE / 1000));
      sound += ms;
      worked = true;
    }
    while (PlayFrameTime(from, rate, shown) < end && PlayFrameTime(from, rate, shown + 1) <= clock) {
      ++shown;
      q.CountDrop();
    }
    const int64_t t = PlayFrameTime(from, rate, shown);
    KORSurface *slot =
        t < end && player.HasVideo() ? q.PictureToFill(player.Width(), player.Height(), clock) : nullptr;
    if (slot) {
      KORSurface *f = player.VideoFrame(int(t));
      if (f) surface::SurfaceCopy(f, slot);
      q.PicturePut(int(t), FrameAt(int(t), rate));
      ++shown;
      worked = true;
    }
    if (!worked) Nap();
  }
  players.Cleanup();
}
