// Video composition: an arrangement's picture at its current time, each child's update with
// its source picture, pre-effect opacity and effect chain, and the scaling onto the parent.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

#include "effects/effect.h"
#include "effects/geometric.h"
#include "engine/clip.h"
#include "engine/clipsource.h"
#include "media/dc.h"

namespace {

// Processing messages; the callers format them only when the root has a listener.
void Message(clip *c, const char *a, const char *b) {
  char text[640];
  std::snprintf(text, sizeof text, "%s: %s", a, b);
  c->ProcessingMessage(text);
}

void Message(clip *c, const char *a, const char *b, const char *d) {
  char text[900];
  std::snprintf(text, sizeof text, "%s: %s %s", a, b, d);
  c->ProcessingMessage(text);
}

// One effect of a chain that passes the picture between two surfaces: an effect that reads only
// its destination works on the current picture; any other writes over a copy of it, which then
// becomes the current picture.
void RunEffect(effectVideo *fx, KORSurface *&cur, KORSurface *&other, RECT area) {
  if (fx->WorksInPlace()) {
    fx->Process(cur, cur, area);
    return;
  }
  fx->ProcessOntoCopy(cur, other, area);
  std::swap(cur, other);
}

// Whether an effect runs this frame (switched on, its rectangle on the w x h picture), and where.
bool Runs(effectVideo *fx, int w, int h, RECT *area) {
  return fx->IsActive() && fx->GetEffectRect(w, h, area);
}

// Where a picture's part s goes on the parent's part d: the source cut to the picture moves the
// destination in proportion, then the other way, both in whole pixels.
bool PlaceOnParent(const KORSurface *pic, frect s, frect d, const RECT &out, RECT *rs, RECT *rd) {
  if (!frect::ClipToUnity(&s, &d)) return false;
  if (!frect::ClipToUnity(&d, &s)) return false;
  if (!frect::ScaleToUnity(&s, pic->width, pic->height, rs)) return false;
  return frect::ScaleToUnity(&d, out.right - out.left, out.bottom - out.top, rd);
}

}  // namespace

int clip::ClipComposite() {
  clip *root = GetRootClip();
  root->ClipVideoComposite(CLIP_COMPOSE_EDIT);
  ProcessingMessage("Done!");
  if (root->redrawfn) root->redrawfn();
  return 1;
}

KORSurface *clip::GetUISurface() { return arrangement ? worksurfaces[CLIP_SURFACE_DISPLAY] : frame; }

KORSurface *clip::AddDrawingSurface() {
  KORSurface *s = surface::SurfaceCreate(surface::RENDER_WIDTH, surface::RENDER_HEIGHT);
  if (!s) return nullptr;
  if (ownsframe) surface::SurfaceDelete(frame);
  frame = s;
  ownsframe = true;
  outputrect = RECT{0, 0, surface::RENDER_WIDTH, surface::RENDER_HEIGHT};
  ResetCompositionCache();
  return s;
}

int clip::ClipVideoComposite(uint32_t flags) {
  if (!arrangement || !EnsureWorkSurfaces()) return 0;
  KORSurface *dst = worksurfaces[CLIP_SURFACE_DESTINATION];
  if (!dst) return 0;

  // Track 0 lies on top: the highest track is drawn first, children of a track in child
  // order. Walking the tracks that hold children (rather than every number up to the highest)
  // gives the same order and costs nothing for sparse track numbers.
  ClipTrackCount();
  int order[CLIP_MAX_CHILDREN];
  for (int i = 0; i < childcount; ++i) order[i] = i;
  std::stable_sort(order, order + childcount,
                   [&](int a, int b) { return children[a]->track > children[b]->track; });
  const auto shown = [&](int k) {
    return !children[order[k]]->videomuted && children[order[k]]->ClipIsActive();
  };
  // Under a child that covers everything opaquely, nothing drawn shows: the clear and the
  // children below are left out (the editor draws them all, its marks among them).
  int from = -1;
  for (int k = childcount - 1; k >= 0 && from < 0 && !(flags & CLIP_COMPOSE_EDIT); --k)
    if (shown(k) && children[order[k]]->HidesWhatLiesBelow(this)) from = k;
  if (from < 0) surface::SurfaceClear(dst);
  const bool listening = GetRootClip()->messagefn != nullptr;
  const auto draw = [&](int k) {
    clip *c = children[order[k]];
    if (listening) Message(this, "Processing", c->GetName());
    return c->ClipVideoUpdate(this, c == currentchild ? flags : flags & ~CLIP_COMPOSE_EDIT, true);
  };
  for (int k = std::max(from, 0); k < childcount; ++k) {
    if (!shown(k) || draw(k) || k != from) continue;
    // The covering child drew nothing after all: what it was to hide is drawn, then the rest.
    surface::SurfaceClear(dst);
    for (int j = 0; j < from; ++j)
      if (shown(j)) draw(j);
  }

  if (parentclip) {
    // A sub-arrangement's picture is its output surface. The finished destination becomes
    // the output by exchanging the two surfaces, which is the copy without moving pixels; the
    // destination is cleared before it is drawn on again.
    std::swap(worksurfaces[CLIP_SURFACE_OUTPUT], worksurfaces[CLIP_SURFACE_DESTINATION]);
    if (!window) frame = worksurfaces[CLIP_SURFACE_OUTPUT];
    return 1;
  }

  // The root: full opacity, then its own effects over the whole picture.
  surface::SurfaceOpacity(dst, 255);
  if (videoeffectcount > 0) {
    KORSurface *e1 = worksurfaces[CLIP_SURFACE_EFFECT1];
    KORSurface *e2 = worksurfaces[CLIP_SURFACE_EFFECT2];
    if (e1 && e2) {
      surface::SurfaceCopy(dst, e1);
      KORSurface *cur = e1, *other = e2;
      for (int i = 0; i < videoeffectcount; ++i) {
        effectVideo *fx = videoeffects[i];
        RECT area;
        if (fx->GetID() == effectExtraOutput::kType || !Runs(fx, outputrect.right, outputrect.bottom, &area))
          continue;
        if (messagefn) Message(this, "Processing", EffectName(fx->GetID()), GetName());
        RunEffect(fx, cur, other, area);
      }
      surface::SurfaceCopy(cur, dst);
    }
  }
  return 1;
}

bool clip::ReadVideoFrame() {
  int t = CTMGetValue(currenttime);
  // The mapper holds the last frame past the end of the medium rather than reading nothing.
  const int d = MediaDuration();
  if (d > 0) t = t < 0 ? 0 : t >= d ? d - 1 : t;
  if (t == lastreadtime) return true;
  if (GetRootClip()->messagefn) Message(this, "Processing", "Reading Video Frame", GetName());
  bool ok = false;
  if (stream)
    ok = mediareaders::StreamReadVideoSample(stream, t) != nullptr;
  else if (avi)
    ok = mediareaders::AVIRead(avi, t);
  // A frame that cannot be read shows nothing, whatever was read before.
  if (!ok) surface::SurfaceClear(frame);
  lastreadtime = t;
  return ok;
}

void clip::DrawEditMarks(clip *parent, KORSurface *current, effectVideo *fx) {
  KORSurface *scratch = parent->worksurfaces[CLIP_SURFACE_SCRATCH];
  if (!scratch || !current) return;
  surface::SurfaceChecker(scratch, 4);
  surface::SurfaceBlend(current, scratch, surface::SurfaceGetRect(scratch));
  surface::SurfaceOpacity(scratch, 255);
  const bool enabled = fx->GetTimeFloat(fxid::IDS_EFFECT_ENABLE) >= 0.5;
  const bool toggled = fx->GetTimeFloat(fxid::IDS_EFFECT_TOGGLE) >= 0.5;
  if (!enabled || !toggled) {
    surf s;
    if (HDC hdc = surface::SurfaceGetDC(scratch, &s)) {
      RECT r = surface::SurfaceGetRect(scratch);
      hdc->SetBkMode(TRANSPARENT);
      hdc->SetTextColor(RGB(255, 0, 0));
      hdc->SetDrawAlpha(255);
      const char *text =
          effect::SwitchText(enabled ? fxid::IDS_EFFECT_TOGGLE : fxid::IDS_EFFECT_ENABLE, false);
      hdc->DrawText(text, -1, &r, DT_CENTER | DT_VCENTER | DT_SINGLELINE);
      surface::SurfaceReleaseDC(&s);
    }
  }
  surface::SurfaceCopy(scratch, current);
}

int clip::ClipVideoUpdate(clip *parent, uint32_t flags, bool blend) {
  if (!parent || !ClipIsActive()) return 0;
  const bool listening = GetRootClip()->messagefn != nullptr;

  // The picture of this frame.
  KORSurface *src = nullptr;
  if (arrangement) {
    ClipVideoComposite(flags);
    src = frame;
  } else if (source) {
    const int w = parent->outputrect.right - parent->outputrect.left;
    const int h = parent->outputrect.bottom - parent->outputrect.top;
    if (!frame || frame->width != w || frame->height != h) {
      KORSurface *s = surface::SurfaceCreate(w, h);
      if (!s) return 0;
      if (ownsframe) surface::SurfaceDelete(frame);
      frame = s;
      ownsframe = true;
      source->Invalidate();
    }
    source->width = w;
    source->height = h;
    bool changed = false;
    if (!source->Paint(frame, &changed)) return 0;
    src = frame;
  } else if (stream || avi) {
    if (!frame) return 0;
    ReadVideoFrame();
    src = frame;
  } else {
    src = frame;  // a still picture
  }
  if (!src) return 0;

  frect rs, rd;
  GetTimeRect(rs, clipvar::IDS_SRC_L, clipvar::IDS_SRC_T, clipvar::IDS_SRC_R, clipvar::IDS_SRC_B);
  GetTimeRect(rd, clipvar::IDS_DST_L, clipvar::IDS_DST_T, clipvar::IDS_DST_R, clipvar::IDS_DST_B);

  if (videoeffectcount == 0) {
    if (listening) Message(this, "Processing", "Drawing Video Frame", GetName());
    return CompositeToParent(src, rs, rd, parent, blend, GetTimeFloat(clipvar::IDS_START_OPACITY));
  }

  // With effects: the source rectangle fills the parent-sized first effect surface, the
  // opacity is adjusted there, the chain ping-pongs, the result goes through the destination.
  KORSurface *cur = parent->worksurfaces[CLIP_SURFACE_EFFECT1];
  KORSurface *other = parent->worksurfaces[CLIP_SURFACE_EFFECT2];
  if (!cur || !other) return 0;
  frect cs = rs;
  if (!cs.ClipToUnity()) return 0;
  RECT prs;
  if (!frect::ScaleToUnity(&cs, src->width, src->height, &prs)) return 0;
  const RECT &out = parent->outputrect;
  const bool covers = out.left == 0 && out.top == 0 && out.right == cur->width && out.bottom == cur->height &&
                      prs.left >= 0 && prs.top >= 0 && prs.right <= src->width && prs.bottom <= src->height;
  const int w = parent->outputrect.right, h = parent->outputrect.bottom;
  const bool editing = (flags & CLIP_COMPOSE_EDIT) && parent->currentchild == this;
  // Pointwise effects can run after the scaling: a quarter-size picture keys a quarter of the
  // pixels, and the parent-sized copy is never made.
  if (covers && !editing) {
    const int done = CompositePointwiseChain(src, prs, rd, parent, blend, listening);
    if (done >= 0) return done;
  }
  int first = 0;  // the first effect of the chain still to run
  if (covers) {
    // A picture of the effect surface's size that its opacity makes opaque goes to a first
    // effect that can read it as such, without the copy; otherwise the picture fills the whole
    // effect surface, its opacity going on in the same pass.
    const double opacity = GetTimeFloat(clipvar::IDS_START_OPACITY);
    effectVideo *fx = videoeffects[0];
    RECT area;
    if (!editing && prs.left == 0 && prs.top == 0 && prs.right == src->width && prs.bottom == src->height &&
        src->width == cur->width && src->height == cur->height && surface::OpacityStep(opacity) >= 255 &&
        fx->GetID() != effectExtraOutput::kType && Runs(fx, w, h, &area)) {
      if (fx->ProcessOpaqueOntoCopy(src, cur, area)) first = 1;
      if (first && listening) Message(this, "Processing", EffectName(fx->GetID()), GetName());
    }
    if (!first && !surface::SurfaceScaleOpacityAdjust(src, prs, cur, out, false, opacity)) return 0;
  } else {
    if (!surface::SurfaceScale(src, prs, cur, out, false)) return 0;
    surface::SurfaceOpacityAdjust(cur, GetTimeFloat(clipvar::IDS_START_OPACITY));
  }

  // The "Extra Output" effects met in the chain: their index and area, their picture kept.
  int extras[CLIP_MAX_EFFECTS];
  RECT extraareas[CLIP_MAX_EFFECTS];
  int extracount = 0;
  for (int i = first; i < videoeffectcount; ++i) {
    effectVideo *fx = videoeffects[i];
    // Effects span their clip: while the clip is active, so are they.
    RECT area;
    const bool runs = Runs(fx, w, h, &area);
    if (fx->GetID() == effectExtraOutput::kType) {
      // Not part of the picture: it takes a copy of the picture as it stands here.
      if (runs && KeepExtraPicture(extracount, cur)) {
        extras[extracount] = i;
        extraareas[extracount++] = area;
      }
      continue;
    }
    if (runs) {
      if (listening) Message(this, "Processing", EffectName(fx->GetID()), GetName());
      RunEffect(fx, cur, other, area);
    }
    if (editing && i == currentvideoeffect) DrawEditMarks(parent, cur, fx);
  }

  if (listening) Message(this, "Processing", "Adding To Destination", GetName());
  // A picture made opaque by its opacity and kept so by every effect is placed with its alpha
  // moved up once more, which changes none of it and lets the blend skip what lies below.
  const double lift =
      surface::OpacityStep(GetTimeFloat(clipvar::IDS_START_OPACITY)) >= 255 && EffectsKeepOpaque(w, h) ? 1.0
                                                                                                       : 0.0;
  const int done = CompositeToParent(cur, frect(0.0, 0.0, 1.0, 1.0), rd, parent, blend, lift);
  // Each second output over the clip: its copy colour-mapped by its own variables, then placed
  // through its own destination rectangle with the clip's blending.
  for (int k = 0; k < extracount; ++k) {
    effectVideo *fx = videoeffects[extras[k]];
    KORSurface *pic = extrapictures[size_t(k)].get();
    if (listening) Message(this, "Processing", EffectName(fx->GetID()), GetName());
    fx->Process(pic, pic, extraareas[k]);
    const frect d(fx->GetTimeFloat(fxid::IDS_DST_L), fx->GetTimeFloat(fxid::IDS_DST_T),
                  fx->GetTimeFloat(fxid::IDS_DST_R), fx->GetTimeFloat(fxid::IDS_DST_B));
    CompositeToParent(pic, frect(0.0, 0.0, 1.0, 1.0), d, parent, blend);
  }
  return done;
}

bool clip::HidesWhatLiesBelow(const clip *parent) {
  // A medium or a still, whose picture is there before this frame is read: a frame that cannot
  // be read is cleared and drawn all the same.
  if (arrangement || source || !frame || frame->width < 2 || frame->height < 2) return false;
  const KORSurface *dst = parent->worksurfaces[CLIP_SURFACE_DESTINATION];
  const RECT &out = parent->outputrect;
  if (!dst || out.left != 0 || out.top != 0 || out.right != dst->width || out.bottom != dst->height ||
      out.right < 2 || out.bottom < 2)
    return false;
  // The whole picture onto the whole parent: every pixel there is drawn from one of the picture.
  const auto whole = [](const frect &f) {
    return f.left == 0.0 && f.top == 0.0 && f.right == 1.0 && f.bottom == 1.0;
  };
  if (!whole(GetTimeRect(clipvar::IDS_SRC_L, clipvar::IDS_SRC_T, clipvar::IDS_SRC_R, clipvar::IDS_SRC_B)) ||
      !whole(GetTimeRect(clipvar::IDS_DST_L, clipvar::IDS_DST_T, clipvar::IDS_DST_R, clipvar::IDS_DST_B)))
    return false;
  // The opacity's step leaves every alpha 255, and every effect that runs keeps it so; blended
  // at 255, a pixel is (s * 255 + d * 0) >> 8, whatever lay below.
  return surface::OpacityStep(GetTimeFloat(clipvar::IDS_START_OPACITY)) >= 255 &&
         EffectsKeepOpaque(out.right, out.bottom);
}

bool clip::EffectsKeepOpaque(int w, int h) {
  for (int i = 0; i < videoeffectcount; ++i) {
    effectVideo *fx = videoeffects[i];
    RECT area;
    if (fx->GetID() != effectExtraOutput::kType && Runs(fx, w, h, &area) && !fx->KeepsOpaque()) return false;
  }
  return true;
}

void clip::surface_deleter::operator()(KORSurface *s) const { surface::SurfaceDelete(s); }

KORSurface *clip::KeepExtraPicture(int k, KORSurface *current) {
  if (!current || k < 0) return nullptr;
  if (extrapictures.size() <= size_t(k)) extrapictures.resize(size_t(k) + 1);
  auto &pic = extrapictures[size_t(k)];
  if (!pic || pic->width != current->width || pic->height != current->height)
    pic.reset(surface::SurfaceCreate(current->width, current->height));
  if (!pic) return nullptr;
  surface::SurfaceCopy(current, pic.get());  // its result says nothing (always 0)
  return pic.get();
}

int clip::CompositeToParent(KORSurface *pic, frect s, frect d, clip *parent, bool blend, double opacity) {
  if (!frame || !pic || !parent || !parent->arrangement) return 0;
  KORSurface *dst = parent->worksurfaces[CLIP_SURFACE_DESTINATION];
  if (!dst) return 0;
  RECT rs, rd;
  if (!PlaceOnParent(pic, s, d, parent->outputrect, &rs, &rd)) return 0;
  // The opacity goes on each pixel on its way: the picture as read stays as it was read.
  surface::SurfaceScaleOpacityAdjust(pic, rs, dst, rd, blend, opacity);
  return 1;
}

int clip::CompositePointwiseChain(KORSurface *src, RECT prs, frect d, clip *parent, bool blend,
                                  bool listening) {
  KORSurface *dst = parent->worksurfaces[CLIP_SURFACE_DESTINATION];
  KORSurface *mid = parent->worksurfaces[CLIP_SURFACE_EFFECT1];
  if (!frame || !dst || !mid || !parent->arrangement) return -1;
  // The effects that run this frame, each found pointwise over the whole picture.
  effectVideo *runs[CLIP_MAX_EFFECTS];
  int runcount = 0;
  for (int i = 0; i < videoeffectcount; ++i) {
    effectVideo *fx = videoeffects[i];
    RECT area;
    if (!Runs(fx, mid->width, mid->height, &area)) continue;
    if (fx->GetID() == effectExtraOutput::kType || !fx->IsPointwise() || !fx->WorksInPlace()) return -1;
    if (area.left != 0 || area.top != 0 || area.right != mid->width || area.bottom != mid->height) return -1;
    runs[runcount++] = fx;
  }
  RECT rs, rd;
  if (!PlaceOnParent(mid, frect(0.0, 0.0, 1.0, 1.0), d, parent->outputrect, &rs, &rd)) return -1;
  const int pw = std::min(rd.right, dst->width) - std::max(rd.left, 0);
  const int ph = std::min(rd.bottom, dst->height) - std::max(rd.top, 0);
  if (pw < 2 || ph < 2) return -1;
  if (!placedpicture || placedpicture->width < pw || placedpicture->height < ph) {
    const int w = placedpicture ? std::max(pw, placedpicture->width) : pw;
    const int h = placedpicture ? std::max(ph, placedpicture->height) : ph;
    placedpicture.reset(surface::SurfaceCreate(w, h));
    if (!placedpicture) return -1;
  }
  KORSurface *pic = placedpicture.get();
  RECT placed;
  if (!surface::SurfaceScaleThrough(src, prs, parent->outputrect, mid->width, mid->height, rs, dst, rd, pic,
                                    GetTimeFloat(clipvar::IDS_START_OPACITY), &placed))
    return -1;
  const RECT part{0, 0, placed.right - placed.left, placed.bottom - placed.top};
  if (part.right < 2 || part.bottom < 2) return -1;
  for (int i = 0; i < runcount; ++i) {
    if (listening) Message(this, "Processing", EffectName(runs[i]->GetID()), GetName());
    runs[i]->Process(pic, pic, part);
  }
  if (listening) Message(this, "Processing", "Adding To Destination", GetName());
  surface::SurfaceScale(pic, part, dst, placed, blend);
  return 1;
}
