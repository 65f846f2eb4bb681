// A host's view: every public header reached through the umbrella header alone.
#include "vemodll.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

// One name per public header (core, media, effects, engine); one missing from the umbrella fails the build.
template <auto...>
constexpr bool kNamed = true;
static_assert(kNamed<&byteorder::le16, &TickCount, &SplitCommandLine, &Dialogs, &IconNameForFile,
                     &settings::Root, &vemo_trap, &vemo::GetStringPtr, &riff::FileSize, &IsAcceptedPCM,
                     &DecodeBMP, &fxkernels::AdjustColour, &fxlevels::ColourByte, &JoinSegments>);
template <class... T>
constexpr bool kClasses = (std::is_class_v<T> && ...);
static_assert(
    kClasses<frect, intarray, randint, UIItem, UIItemDummy, vemowin, poligon, POINT, tfdecl, timefloatmgr,
             mtime, tfcboard, timefloat, vemotime, pix32, pixelator, dc, surface, roa, wavcfg, imgio_export,
             pluginlists, effectOpacity, effectVideo, effectKeyRGB, fxkernels::rgbkey, effectloadscope,
             effectVolPan, effectFlipX, effectInterlaceFB1, effectMatrixBlurr, effectFrame01, clipData, clip,
             clipsrc, vemoproject, clipworker, macro>);
static_assert(std::is_base_of_v<pixelator, surface> && std::is_base_of_v<vemo, pixelator>);

// The readers as a host calls them: members of the surface manager, plain char paths.
static_assert(std::is_same_v<decltype(&surface::AVIReadOpen), roa *(*)(const char *)>);
static_assert(std::is_same_v<decltype(&surface::WaveFileRead), uint8_t *(*)(rwav *, int)>);
static_assert(std::is_same_v<decltype(&surface::StreamReadAudioSample), uint8_t *(*)(mmstream *, int)>);

// A host hands its own short and byte buffers; the arithmetic is the media tests' part.
TEST(PublicNames, ConvertersTakeAHostsBuffersAndReadersAnswerNullForAMissingFile) {
  short internal[4] = {1000, -1000, 3000, -3000};
  unsigned char eight[2] = {};
  WAVEFORMATEX mono8{WAVE_FORMAT_PCM, 1, 22050, 22050, 1, 8, 0};
  // Two internal frames at half the rate give one 8-bit frame: (1000 - 1000) / 2 -> 128.
  EXPECT_EQ(wavcfg::From44100_16_2(internal, &mono8, 8, eight), 1);
  EXPECT_EQ(eight[0], 128);
  EXPECT_EQ(surface::AVIReadOpen("/nonexistent/a.avi"), nullptr);
  EXPECT_EQ(surface::WaveFileReadOpen("/nonexistent/a.wav"), nullptr);
  EXPECT_EQ(surface::StreamOpenRead("/nonexistent/a.mp4"), nullptr);
  surface::WaveFileReadClose(nullptr);
  surface::StreamCloseRead(nullptr);
  EXPECT_TRUE(surface::AVIReadClose(nullptr));
}

}  // namespace
