// Builds the demo project: makes its still pictures and its tone with the engine's own code,
// takes a test video made beforehand (scripts/demo makes one), lays everything out on the
// tracks of a 640 x 480, 25 fps arrangement with keys and a chroma-keyed picture in picture,
// and saves DIR/demo.vmp next to its media.
//
// usage: lumivaxel-build-demo DIR TESTVIDEO [SECONDS]   (8 s unless told)
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "vemodll.h"

namespace {

int demolength = 8000;  // ms; the optional third argument changes it
constexpr double kPi = 3.14159265358979323846;

// A picture drawn with the engine: a vertical blend between two colours with a title.
bool WritePoster(const std::string &path, int w, int h, pix32 top, pix32 bottom, const char *title) {
  KORSurface *s = surface::SurfaceCreate(w, h);
  if (!s) return false;
  surf lock;
  if (surface::SurfaceDataLock(s, &lock)) {
    for (int y = 0; y < h; ++y) {
      const int t = y * 256 / h;
      const pix32 p(uint8_t((top.r * (256 - t) + bottom.r * t) >> 8),
                    uint8_t((top.g * (256 - t) + bottom.g * t) >> 8),
                    uint8_t((top.b * (256 - t) + bottom.b * t) >> 8), 0);
      for (int x = 0; x < w; ++x) lock.bits[size_t(lock.pitch) * y + x] = p;
    }
    surface::SurfaceDataUnlock(&lock);
  }
  surf grant;
  if (HDC hdc = surface::SurfaceGetDC(s, &grant)) {
    font f;
    f.height = h / 7;
    f.weight = FW_BOLD;
    hdc->SelectFont(f);
    hdc->SetBkMode(TRANSPARENT);
    hdc->SetTextColor(RGB(255, 255, 255));
    RECT r{0, 0, w, h};
    hdc->DrawText(title, -1, &r, DT_CENTER | DT_VCENTER | DT_WORDBREAK);
    surface::SurfaceReleaseDC(&grant);
  }
  const bool ok = surface::SurfaceSave(s, path.c_str());
  surface::SurfaceDelete(s);
  return ok;
}

// A presenter in front of a green screen: a figure and a caption on pure green, for the key.
bool WriteGreenScreen(const std::string &path, int w, int h) {
  KORSurface *s = surface::SurfaceCreate(w, h);
  if (!s) return false;
  surface::SurfaceFillRect(s, RECT{0, 0, w, h}, pix32(0, 255, 0));
  surf grant;
  if (HDC hdc = surface::SurfaceGetDC(s, &grant)) {
    for (int y = h / 6; y < h / 2; ++y) {  // a round head, row by row
      const double dy = (y - h / 3.0) / (h / 6.0);
      const int half = int(std::sqrt(std::max(0.0, 1 - dy * dy)) * w / 8.0);
      hdc->FillRect(RECT{w / 2 - half, y, w / 2 + half, y + 1}, RGB(240, 190, 150));
    }
    hdc->FillRect(RECT{w / 4, h / 2, 3 * w / 4, h}, RGB(40, 60, 160));  // shoulders
    font f;
    f.height = h / 10;
    f.weight = FW_BOLD;
    hdc->SelectFont(f);
    hdc->SetBkMode(TRANSPARENT);
    hdc->SetTextColor(RGB(255, 255, 255));
    RECT r{0, h * 3 / 4, w, h};
    hdc->DrawText("Keyed", -1, &r, DT_CENTER | DT_VCENTER | DT_SINGLELINE);
    surface::SurfaceReleaseDC(&grant);
  }
  const bool ok = surface::SurfaceSave(s, path.c_str());
  surface::SurfaceDelete(s);
  return ok;
}

void Put16(std::vector<uint8_t> &b, uint32_t v) {
  b.push_back(uint8_t(v));
  b.push_back(uint8_t(v >> 8));
}
void Put32(std::vector<uint8_t> &b, uint32_t v) {
  Put16(b, v & 0xFFFF);
  Put16(b, v >> 16);
}
void PutText(std::vector<uint8_t> &b, const char *text) {
  for (const char *c = text; *c; ++c) b.push_back(uint8_t(*c));
}

// A chord of two tones, swelling in and out, as 44.1 kHz 16-bit stereo.
bool WriteTone(const std::string &path, int ms) {
  const uint32_t frames = uint32_t(int64_t(ms) * 44100 / 1000);
  std::vector<uint8_t> b;
  PutText(b, "RIFF");
  Put32(b, 36 + frames * 4);
  PutText(b, "WAVEfmt ");
  Put32(b, 16);
  Put16(b, 1);      // PCM
  Put16(b, 2);      // stereo
  Put32(b, 44100);  // rate
  Put32(b, 176400);
  Put16(b, 4);
  Put16(b, 16);
  PutText(b, "data");
  Put32(b, frames * 4);
  for (uint32_t n = 0; n < frames; ++n) {
    const double t = n / 44100.0;
    const double envelope = std::sin(kPi * n / frames);
    const double left = 0.3 * envelope * std::sin(2 * kPi * 220.0 * t);
    const double right = 0.3 * envelope * std::sin(2 * kPi * 330.0 * t);
    Put16(b, uint16_t(int16_t(left * 32767)));
    Put16(b, uint16_t(int16_t(right * 32767)));
  }
  FILE *f = std::fopen(path.c_str(), "wb");
  if (!f) return false;
  const bool ok = std::fwrite(b.data(), 1, b.size(), f) == b.size();
  return std::fclose(f) == 0 && ok;
}

void Key(vemotime *c, int id, int ms, double value) { c->GetTimeFloatMgr().timefloatset(id, ms, value); }

void Place(clip *c, double l, double t, double r, double b, int ms = 0) {
  Key(c, clipvar::IDS_DST_L, ms, l);
  Key(c, clipvar::IDS_DST_T, ms, t);
  Key(c, clipvar::IDS_DST_R, ms, r);
  Key(c, clipvar::IDS_DST_B, ms, b);
}

// ---- The geometric and neighbourhood effects shown in the demo ----
// The test video comes into focus (a blur from size 32 to 3 over its first two seconds, its
// level then falling to 0 by 3 s) and is wiped away to the left at the end (progress 1 to -1 from 5.5 s
// to 7.5 s); the still carries a glass bubble tinted blue toward its rim and a bevelled gold frame. Effect
// times are the clip's own: the still starts at 0.5 s.
bool AddEffectsShowcase(clip *video, clip *still) {
  effectVideo *blur = video->VideoEffectAdd(149);    // "Blur"
  effectVideo *wipe = video->VideoEffectAdd(282);    // "Wipe"
  effectVideo *bubble = still->VideoEffectAdd(419);  // "Bubble"
  effectVideo *frame = still->VideoEffectAdd(679);   // "Frame Style 1"
  if (!blur || !wipe || !bubble || !frame) return false;
  Key(blur, fxid::IDS_MATRIX_SIZE, 0, 32.0);
  Key(blur, fxid::IDS_MATRIX_SIZE, 2000, 3.0);
  Key(blur, fxid::IDS_EFFECT_LEVEL, 2000, 1.0);
  Key(blur, fxid::IDS_EFFECT_LEVEL, 3000, 0.0);
  Key(wipe, fxid::IDS_PROGRESS, 5500, 1.0);
  Key(wipe, fxid::IDS_PROGRESS, 7500, -1.0);
  Key(wipe, fxid::IDS_SMOOTHING, 0, 0.9);
  Key(bubble, fxid::IDS_BLUE, 0, 0.6);
  Key(bubble, fxid::IDS_GREEN, 0, 0.2);
  Key(frame, fxid::IDS_COLOR_FRAME_R, 0, 0.85);
  Key(frame, fxid::IDS_COLOR_FRAME_G, 0, 0.65);
  Key(frame, fxid::IDS_COLOR_FRAME_B, 0, 0.2);
  Key(frame, fxid::IDS_FRAME_SIZE, 0, 0.06);
  Key(frame, fxid::IDS_FRAME_SHADING, 0, 0.6);
  for (effectVideo *e : {blur, wipe, bubble, frame}) e->Commit();
  return true;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 3 && argc != 4) {
    std::fprintf(stderr, "usage: lumivaxel-build-demo DIR TESTVIDEO [SECONDS]\n");
    return 1;
  }
  if (argc == 4) {
    const int seconds = std::atoi(argv[3]);
    if (seconds < 3 || seconds > 3600) {
      std::fprintf(stderr, "lumivaxel-build-demo: the length is 3 to 3600 seconds\n");
      return 1;
    }
    demolength = seconds * 1000;
  }
  const std::string dir = argv[1];
  HeadlessDialogs().quiet = true;
  vemoproject p;
  if (!p.Ok() || !p.New(85, 135, demolength)) {  // 640 x 480 at 25 fps
    std::fprintf(stderr, "lumivaxel-build-demo: the engine could not start\n");
    return 1;
  }
  const std::string poster = dir + "/poster.bmp", green = dir + "/greenscreen.bmp", tone = dir + "/tone.wav";
  if (!WritePoster(poster, 320, 240, pix32(250, 180, 40), pix32(160, 30, 90), "Still picture") ||
      !WriteGreenScreen(green, 320, 240) || !WriteTone(tone, demolength)) {
    std::fprintf(stderr, "lumivaxel-build-demo: cannot write the media into %s\n", dir.c_str());
    return 1;
  }
  clip *root = p.Root();

  // Tracks are drawn from the highest number down. Track 5: the gradient background.
  clip *gradient = p.AddGenerator(root, CLIP_SRC_GRADIENT, 0, demolength, 5);
  // Track 4: the test video in a window that fades in over the first second.
  clip *video = p.AddMedia(root, argv[2], 0, 4, demolength);
  // Track 3: the still, sliding down the right side.
  clip *still = p.AddMedia(root, poster.c_str(), 500, 3, demolength - 500);
  // Track 2: the presenter, keyed out of the green screen, picture in picture.
  clip *keyed = p.AddMedia(root, green.c_str(), 1500, 2, demolength - 1500);
  // Track 1: the title, fading out at the end.
  clip *title = p.AddGenerator(root, CLIP_SRC_TEXT, 0, demolength, 1);
  // Track 6: the tone (sound only).
  clip *sound = p.AddMedia(root, tone.c_str(), 0, 6, demolength);
  if (!gradient || !video || !still || !keyed || !title || !sound) {
    std::fprintf(stderr, "lumivaxel-build-demo: a clip could not be made (is %s a video?)\n", argv[2]);
    return 1;
  }
  video->SetName("Test video");
  still->SetName("Still");
  keyed->SetName("Presenter");
  title->SetName("Title");
  sound->SetName("Tone");

  // The background's corners drift over the clip.
  Key(gradient, clipvar::IDS_COLOR_LT_R, 0, 0.10);
  Key(gradient, clipvar::IDS_COLOR_LT_G, 0, 0.12);
  Key(gradient, clipvar::IDS_COLOR_LT_B, 0, 0.35);
  Key(gradient, clipvar::IDS_COLOR_RB_R, 0, 0.45);
  Key(gradient, clipvar::IDS_COLOR_RB_G, 0, 0.10);
  Key(gradient, clipvar::IDS_COLOR_RB_B, 0, 0.30);
  Key(gradient, clipvar::IDS_COLOR_RT_G, 0, 0.25);
  Key(gradient, clipvar::IDS_COLOR_RT_G, demolength, 0.55);
  Key(gradient, clipvar::IDS_COLOR_LB_R, 0, 0.20);
  Key(gradient, clipvar::IDS_COLOR_LB_R, demolength, 0.70);

  Place(video, 0.04, 0.06, 0.62, 0.64);
  // Decoded frames arrive without alpha; the pre-effect opacity lifts them from 0 to opaque.
  Key(video, clipvar::IDS_START_OPACITY, 0, 0.0);
  Key(video, clipvar::IDS_START_OPACITY, 1000, 1.0);

  Place(still, 0.66, 0.04, 0.96, 0.34, 0);
  Place(still, 0.66, 0.30, 0.96, 0.60, demolength - 500);

  Place(keyed, 0.60, 0.42, 0.98, 0.92);
  if (effectVideo *chroma = keyed->VideoEffectAdd(29)) {  // "Chroma Key" on pure green
    Key(chroma, fxid::IDS_GREEN, 0, 1.0);
    Key(chroma, fxid::IDS_CHROMA_TOLERANCE, 0, 0.12);
    Key(chroma, fxid::IDS_LUMA_TOLERANCE, 0, 0.4);
    chroma->Commit();
  }

  if (!AddEffectsShowcase(video, still)) {
    std::fprintf(stderr, "lumivaxel-build-demo: the demo's effects could not be added\n");
    return 1;
  }

  title->ClipSetText("Lumi-Vaxel\ndemo project");
  // The text is painted over the whole picture, so a square of fractions keeps its aspect.
  Place(title, 0.02, 0.56, 0.46, 1.0);
  Key(title, clipvar::IDS_STR_FONTSIZE, 0, 30);
  Key(title, clipvar::IDS_STR_FONTWEIGHT, 0, 0.8);
  // The letters carry their own alpha: 0 keeps it, -1 takes it all away.
  Key(title, clipvar::IDS_START_OPACITY, demolength - 1500, 0.0);
  Key(title, clipvar::IDS_START_OPACITY, demolength, -1.0);

  for (clip *c : {gradient, video, still, keyed, title, sound}) c->Commit();
  const std::string project = dir + "/demo.vmp";
  if (!p.Save(project.c_str())) {
    std::fprintf(stderr, "lumivaxel-build-demo: cannot save %s\n", project.c_str());
    return 1;
  }
  std::printf("%s\n", project.c_str());
  return 0;
}
