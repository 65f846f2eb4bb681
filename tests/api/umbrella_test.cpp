// A host's view: every public header reached through the umbrella header alone.
#include "vemodll.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

// One name per public header; a header missing from the umbrella makes this file fail to build.
[[maybe_unused]] const void *const kOneNamePerHeader[] = {
    reinterpret_cast<const void *>(&byteorder::le16),          // core/byteorder.h
    reinterpret_cast<const void *>(&TickCount),                // core/clock.h
    reinterpret_cast<const void *>(&SplitCommandLine),         // core/commandline.h
    reinterpret_cast<const void *>(&Dialogs),                  // core/dialogs.h
    reinterpret_cast<const void *>(&IconNameForFile),          // core/icons.h
    reinterpret_cast<const void *>(&settings::Root),           // core/settings.h
    reinterpret_cast<const void *>(&vemo_trap),                // core/trap.h
    reinterpret_cast<const void *>(&vemo::GetStringPtr),       // core/vemo.h
    reinterpret_cast<const void *>(&riff::FileSize),           // media/riff.h
    reinterpret_cast<const void *>(&IsAcceptedPCM),            // media/waveformat.h
    reinterpret_cast<const void *>(&DecodeBMP),                // media/imagecodecs.h
    reinterpret_cast<const void *>(&fxkernels::AdjustColour),  // effects/adjusters.h
    reinterpret_cast<const void *>(&fxlevels::ColourByte),     // effects/levels.h
    reinterpret_cast<const void *>(&JoinSegments),             // engine/joining.h
};
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
