// vemoproject: the headless host entry: set-up, new/load/save, composing and mixing by time,
// and building clips.
#include "engine/project.h"

#include <new>

#include "core/vemowin.h"
#include "engine/clipsource.h"
#include "media/surface.h"

namespace {

// Sound is mixed in steps of this many ms: whole frames of 44.1 per ms, within the buffers.
constexpr int kMixStep = 100;

// A new, empty clip inserted into the arrangement `parent`; null when parent is no arrangement
// or cannot take another child.
clip *InsertNewChild(clip *parent) {
  if (!parent || !parent->IsArrangement()) return nullptr;
  clip *c = new (std::nothrow) clip(parent->GetContext());
  if (c && !parent->ClipInsertChild(c)) {
    delete c;
    return nullptr;
  }
  return c;
}

}  // namespace

vemoproject::vemoproject(dialogs *ui) {
  context = new vemowin(ui, nullptr);
  surfaces = new surface(context, nullptr);
  root = new clip(context, nullptr);
  root->SetSurfaces(surfaces);
  root->SetName("Arrangement");
}

vemoproject::~vemoproject() {
  delete root;
  delete surfaces;
  delete context;
}

bool vemoproject::Ok() const { return surfaces->CheckDirectX600() && root->GetDestinationSurface(); }

bool vemoproject::New(int format_id, int fps_id, int length_ms) {
  root->Reset();
  root->SetName("Arrangement");
  root->SetOffset(0);
  root->SetPosition(0);
  root->SetSize(length_ms > 0 ? length_ms : 10000);
  root->SetMakeRange(0, root->GetSize());
  root->ClipZoomOut();
  root->ChangeVideoFps(fps_id);
  return root->MakeArrangement(format_id);
}

bool vemoproject::Load(const char *path) {
  // A saved single clip is no project: its root would be no arrangement.
  if (root->ProjectLoad(path) && root->IsArrangement()) return true;
  New();
  return false;
}

bool vemoproject::Save(const char *path) { return root->ProjectSave(path); }

int vemoproject::Length() const {
  return root->GetMakeEnd() > root->GetMakeStart() ? root->GetMakeEnd() : root->GetSize();
}

KORSurface *vemoproject::Compose(int ms) {
  root->SetCurrentTime(ms);
  if (!root->ClipVideoComposite(CLIP_COMPOSE_MAKE)) return nullptr;
  return root->GetDestinationSurface();
}

bool vemoproject::Mix(int from_ms, int ms, std::vector<int16_t> &out) {
  if (ms < 0) return false;
  if (!mixbuffer) {
    mixbuffer = root->ClipAllocAudioProcessingBuffer(&work1, &work2);
    if (!mixbuffer) return false;
  }
  for (int done = 0; done < ms;) {
    const int step = ms - done < kMixStep ? ms - done : kMixStep;
    const int bytes = (step * 441 / 10) * INTERNAL_BYTES_PER_FRAME;
    root->SetCurrentTime(from_ms + done);
    root->MixMadeSound(mixbuffer, work1, work2, step, bytes);
    out.insert(out.end(), mixbuffer, mixbuffer + bytes / 2);
    done += step;
  }
  return true;
}

void vemoproject::SetMessages(clip::message_fn fn) { root->SetProcessingCallback(std::move(fn)); }

clip *vemoproject::AddMedia(clip *parent, const char *path, int start, int track, int length_ms) {
  return ClipAddMedia(parent, path, start, track, length_ms);
}

clip *vemoproject::AddGenerator(clip *parent, int type, int start, int length_ms, int track) {
  return ClipAddGenerator(parent, type, start, length_ms, track);
}

clip *vemoproject::AddArrangement(clip *parent, int start, int length_ms, int track) {
  return ClipAddArrangement(parent, start, length_ms, track);
}

clip *ClipAddMedia(clip *parent, const char *path, int start, int track, int length_ms) {
  clip *c = InsertNewChild(parent);
  if (!c) return nullptr;
  if (!c->ClipImport(path)) {
    parent->ChildDelete(c);
    return nullptr;
  }
  c->SetPosition(start);
  c->SetTrack(track);
  if (length_ms > 0) c->SetSize(length_ms);
  return c;
}

clip *ClipAddGenerator(clip *parent, int type, int start, int length_ms, int track) {
  clip *c = InsertNewChild(parent);
  if (!c) return nullptr;
  if (!c->AddClipSource(type)) {
    parent->ChildDelete(c);
    return nullptr;
  }
  c->SetName(vemo::GetStringPtr(type));
  c->SetPosition(start);
  c->SetSize(length_ms);
  c->SetTrack(track);
  return c;
}

clip *ClipAddArrangement(clip *parent, int start, int length_ms, int track) {
  clip *c = InsertNewChild(parent);
  if (!c) return nullptr;
  if (!c->MakeArrangement(parent->GetRootClip()->GetVideoFormat())) {
    parent->ChildDelete(c);
    return nullptr;
  }
  c->SetName("Arrangement");
  c->SetPosition(start);
  c->SetSize(length_ms);
  c->SetTrack(track);
  return c;
}

std::string vemoproject::Describe() const { return DescribeClip(root); }
