// Frame-parallel making: composer threads on copies of the project, frames handed on in order.
#include "engine/parallelmaking.h"

#include "engine/clip.h"
#include "engine/project.h"
#include "media/surface.h"

std::unique_ptr<parallelmaking> parallelmaking::Start(clip *root, const std::string &path, int threads, int first,
                                                      int last) {
  if (!root || threads < 2 || !root->CheckVideo()) return nullptr;
  const int start = root->GetMakeStart();
  const int length = root->GetMakeEnd() - start;
  const int count = clip::MakeFrameCount(root->GetFps(), length);
  if (last < 0 || last > count) last = count;
  if (first < 0 || last - first < 2) return nullptr;
  if (threads > last - first) threads = last - first;
  std::unique_ptr<parallelmaking> m(new parallelmaking(root, count, start, length, first, last));
  const RECT r = root->GetSurfaceRectangle();
  const int makestart = root->GetMakeStart(), makeend = root->GetMakeEnd();
  // The copies load side by side: opening the media is most of the time before the first frame.
  // (Projects are made one after the other: their start-up shares the program's settings.)
  std::vector<std::thread> loaders;
  std::vector<char> loaded(size_t(threads), 0);
  for (int k = 0; k < threads; ++k) {
    m->composers.push_back(std::make_unique<composer>());
    composer *c = m->composers.back().get();
    c->project = std::make_unique<vemoproject>();
    if (!c->project->Ok()) break;
    loaders.emplace_back([c, ok = &loaded[size_t(k)], &path, r, makestart, makeend] {
      if (!c->project->Load(path.c_str())) return;
      c->project->Root()->SetMakeRange(makestart, makeend);
      for (int s = 0; s < kDepth; ++s) {
        c->slots[s] = surface::SurfaceCreate(r.right - r.left, r.bottom - r.top);
        c->ready[s] = -1;
        if (!c->slots[s]) return;
      }
      *ok = 1;
    });
  }
  for (std::thread &t : loaders) t.join();
  for (char ok : loaded)
    if (!ok) return nullptr;
  for (int k = 0; k < threads; ++k) {
    composer *c = m->composers[size_t(k)].get();
    c->thread = std::thread([p = m.get(), c, k] { p->Compose(c, k); });
  }
  root->SetFrameSource([p = m.get()](int i) { return p->Picture(i); });
  return m;
}

parallelmaking::parallelmaking(clip *r, int n, int s, int l, int f, int e)
    : root(r), count(n), start(s), length(l), first(f), last(e) {}

parallelmaking::~parallelmaking() {
  root->SetFrameSource(nullptr);
  {
    std::lock_guard<std::mutex> g(lock);
    stopping = true;
  }
  changed.notify_all();
  for (auto &c : composers) {
    if (c->thread.joinable()) c->thread.join();
    for (KORSurface *s : c->slots) surface::SurfaceDelete(s);
  }
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
