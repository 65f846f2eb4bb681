// Frame-parallel making: composer and mixer threads on copies of the project, frames handed on
// in order.
#include "engine/parallelmaking.h"

#include <algorithm>

#include "engine/clip.h"
#include "engine/project.h"
#include "media/surface.h"

std::unique_ptr<parallelmaking> parallelmaking::Start(clip *root, const std::string &path, int threads, int first,
                                                      int last) {
  if (!root || threads < 2) return nullptr;
  const bool pictures = root->CheckVideo(), sound = root->CheckAudio();
  if (!pictures && !sound) return nullptr;
  const int start = root->GetMakeStart();
  const int length = root->GetMakeEnd() - start;
  const int count = clip::MakeFrameCount(root->GetFps(), length);
  if (last < 0 || last > count) last = count;
  if (first < 0 || last - first < 2) return nullptr;
  if (threads > last - first) threads = last - first;
  std::unique_ptr<parallelmaking> m(new parallelmaking(root, count, start, length, first, last));
  const RECT r = root->GetSurfaceRectangle();
  const int makestart = root->GetMakeStart(), makeend = root->GetMakeEnd();
  // Each copy loads the project with the root's make range; a composer also makes its slots.
  const auto load = [&path, makestart, makeend](vemoproject &p) {
    if (!p.Load(path.c_str())) return false;
    p.Root()->SetMakeRange(makestart, makeend);
    return true;
  };
  // The copies load side by side: opening the media is most of the time before the first frame.
  // (Projects are made one after the other: their start-up shares the program's settings.)
  std::vector<std::thread> loaders;
  const int copies = (pictures ? threads : 0) + (sound ? 1 : 0);
  std::vector<char> loaded(size_t(copies), 0);
  for (int k = 0; pictures && k < threads; ++k) {
    m->composers.push_back(std::make_unique<composer>());
    composer *c = m->composers.back().get();
    c->project = std::make_unique<vemoproject>();
    if (!c->project->Ok()) break;  // its flag stays 0
    loaders.emplace_back([c, ok = &loaded[size_t(k)], load, r] {
      if (!load(*c->project)) return;
      for (int s = 0; s < kDepth; ++s) {
        c->slots[s] = surface::SurfaceCreate(r.right - r.left, r.bottom - r.top);
        c->ready[s] = -1;
        if (!c->slots[s]) return;
        surface::SurfacePrefault(c->slots[s]);  // each becomes the destination in turn
      }
      *ok = 1;
    });
  }
  if (sound) {
    m->sound = std::make_unique<mixer>();
    m->sound->project = std::make_unique<vemoproject>();
    if (m->sound->project->Ok())
      loaders.emplace_back([p = m->sound->project.get(), ok = &loaded.back(), load] { *ok = load(*p); });
  }
  for (std::thread &t : loaders) t.join();
  for (char ok : loaded)
    if (!ok) return nullptr;
  for (int k = 0; k < int(m->composers.size()); ++k) {
    composer *c = m->composers[size_t(k)].get();
    c->thread = std::thread([p = m.get(), c, k] { p->Compose(c, k); });
  }
  if (m->sound) m->sound->thread = std::thread([p = m.get()] { p->Mix(); });
  if (pictures) root->SetFrameSource([p = m.get()](int i) { return p->Picture(i); });
  if (sound) root->SetSoundSource([p = m.get()](int i) { return p->Sound(i); });
  return m;
}

parallelmaking::parallelmaking(clip *r, int n, int s, int l, int f, int e)
    : root(r), count(n), start(s), length(l), first(f), last(e) {}

parallelmaking::~parallelmaking() {
  root->SetFrameSource(nullptr);
  root->SetSoundSource(nullptr);
  {
    std::lock_guard<std::mutex> g(lock);
    stopping = true;
  }
  changed.notify_all();
  for (auto &c : composers) {
    if (c->thread.joinable()) c->thread.join();
    for (KORSurface *s : c->slots) surface::SurfaceDelete(s);
  }
  if (sound && sound->thread.joinable()) sound->thread.join();
}

// Composer k makes frames first + k, first + k + n, ... into its slots in turn, waiting while
// the slot it needs still holds a frame the make loop has not taken.
void parallelmaking::Compose(composer *c, int k) {
  const int n = int(composers.size());
  clip *own = c->project->Root();
  for (int i = first + k, round = 0; i < last; i += n, ++round) {
    const int s = round % kDepth;
    {
      std::unique_lock<std::mutex> g(lock);
      changed.wait(g, [&] { return stopping || c->ready[s] < 0; });
      if (stopping) return;
    }
    own->SetCurrentTime(int(clip::MakeFrameTime(start, length, count, i)));
    own->ClipVideoComposite(CLIP_COMPOSE_MAKE);
    // The finished picture becomes the slot's surface and the slot's the next destination: an
    // exchange, not a copy (a copy only when the sizes differ).
    KORSurface *picture = own->GetDestinationSurface();
    if (KORSurface *done = picture ? own->ExchangeDestinationSurface(c->slots[s]) : nullptr)
      c->slots[s] = done;
    else if (picture)
      surface::SurfaceCopy(picture, c->slots[s]);
    const bool ok = picture != nullptr;
    {
      std::lock_guard<std::mutex> g(lock);
      c->ready[s] = i;
      c->failed[s] = !ok;
    }
    changed.notify_all();
  }
}

KORSurface *parallelmaking::Picture(int i) {
  if (i < first || i >= last) return nullptr;
  const int n = int(composers.size());
  composer *c = composers[size_t((i - first) % n)].get();
  const int s = ((i - first) / n) % kDepth;
  std::unique_lock<std::mutex> g(lock);
  // The frame handed out before is done with: its slot takes a frame further ahead.
  if (shown >= 0) {
    composer *was = composers[size_t((shown - first) % n)].get();
    was->ready[((shown - first) / n) % kDepth] = -1;
    changed.notify_all();
  }
  shown = -1;
  changed.wait(g, [&] { return c->ready[s] == i; });
  shown = i;
  return c->failed[s] ? nullptr : c->slots[s];
}

// The mixer fills the chunks in turn, each with the sound of up to kChunkFrames frames in order,
// waiting while the chunk it needs still holds frames the make loop has not taken.
void parallelmaking::Mix() {
  clip *own = sound->project->Root();
  int16_t *work1 = nullptr, *work2 = nullptr;
  if (!own->ClipAllocAudioProcessingBuffer(&work1, &work2)) {
    {
      std::lock_guard<std::mutex> g(lock);
      sound->failed = true;
    }
    changed.notify_all();
    return;
  }
  for (int f0 = first, round = 0; f0 < last; f0 += kChunkFrames, ++round) {
    soundchunk &ch = sound->chunks[round % kChunks];
    {
      std::unique_lock<std::mutex> g(lock);
      changed.wait(g, [&] { return stopping || ch.begin < 0; });
      if (stopping) return;
    }
    const auto at = [&](int i) { return clip::MakeFrameTime(start, length, count, i); };
    const int n = std::min(last - f0, kChunkFrames);
    for (int k = 0; k < n; ++k)
      ch.offsets[k + 1] = ch.offsets[k] + clip::MakeSoundBytes(at(f0 + k + 1) - at(f0 + k)) / 2;
    if (ch.samples.size() < size_t(ch.offsets[n])) ch.samples.resize(size_t(ch.offsets[n]));
    for (int k = 0; k < n; ++k) {
      own->SetCurrentTime(int(at(f0 + k)));
      own->MixMadeSound(ch.samples.data() + ch.offsets[k], work1, work2, int(at(f0 + k + 1) - at(f0 + k)),
                        2 * (ch.offsets[k + 1] - ch.offsets[k]));
    }
    {
      std::lock_guard<std::mutex> g(lock);
      ch.begin = f0;
    }
    changed.notify_all();
  }
}

int16_t *parallelmaking::Sound(int i) {
  if (!sound || i < first || i >= last) return nullptr;
  const int round = (i - first) / kChunkFrames, f0 = first + round * kChunkFrames;
  soundchunk &ch = sound->chunks[round % kChunks];
  std::unique_lock<std::mutex> g(lock);
  // Moving on to the next chunk gives the last one back to the mixer.
  if (heard >= 0 && heard != round) {
    sound->chunks[heard % kChunks].begin = -1;
    changed.notify_all();
  }
  heard = round;
  changed.wait(g, [&] { return ch.begin == f0 || sound->failed; });
  return sound->failed ? nullptr : ch.samples.data() + ch.offsets[i - f0];
}
