// The clip block: the fixed 5800-byte record that opens every clip in a project file.
//
// All integers are 32-bit little-endian; strings are zero-terminated bytes in fixed fields. The
// record is size-prefixed like every persistent structure. Bytes not named by a field are
// reserved: a writer keeps them as they stand (zero for a new clip), a reader ignores them. The
// generator text, font family and text alignment live in what other writers leave reserved.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr uint32_t CLIP_BLOCK_SIZE = 5800;
constexpr int CLIP_MAX_CHILDREN = 512;
constexpr int CLIP_MAX_EFFECTS = 64;
constexpr int CLIP_NAME_SIZE = 256;
constexpr int CLIP_FILENAME_SIZE = 260;
constexpr int CLIP_TEXT_SIZE = 1024;
constexpr int CLIP_FONTNAME_SIZE = 64;

struct clipData {
  uint32_t size;                      // 5800
  char name[CLIP_NAME_SIZE];          // the clip's name
  char filename[CLIP_FILENAME_SIZE];  // media file, full path as given; empty otherwise
  int32_t start;                      // start in the parent, ms
  int32_t length;                     // length in the parent, ms
  int32_t offset;                     // offset into the clip's own time, ms
  uint8_t reserved0[8];
  int32_t makestart;  // make range, ms
  int32_t makeend;
  uint8_t reserved1[4];
  int32_t track;       // the parent's track, 0 upwards
  int32_t audiomuted;  // 0 or 1
  int32_t videomuted;  // 0 or 1
  int32_t childcount;
  int32_t notarrangement;  // 0 for an arrangement, non-zero otherwise
  int32_t videoeffectcount;
  int32_t audioeffectcount;
  int32_t audioeffectids[CLIP_MAX_EFFECTS];  // chain order
  int32_t videoeffectids[CLIP_MAX_EFFECTS];  // chain order
  uint8_t reserved2[4];
  int32_t medialength;  // ms, as the AVI reader reports; 0 without one
  uint8_t reserved3[52];
  int32_t audiomaster;  // index among the children, -1 for none
  uint8_t reserved4[4];
  int32_t videoformat;  // picture-size ID
  int32_t fpsoption;    // frame-rate ID
  uint8_t reserved5[4];
  int32_t displaystate;               // low byte used
  int32_t sourcetype;                 // 172 text, 568 gradient, 412 sub-arrangement, 0
  char text[CLIP_TEXT_SIZE];          // the text generator's string (UTF-8)
  char fontname[CLIP_FONTNAME_SIZE];  // font family of the text; empty: the default
  int32_t textalign;                  // 0 centred, 1 left, 2 right
  uint8_t reserved6[CLIP_BLOCK_SIZE - 2272];
};

static_assert(sizeof(clipData) == CLIP_BLOCK_SIZE);
static_assert(offsetof(clipData, size) == 0);
static_assert(offsetof(clipData, name) == 4);
static_assert(offsetof(clipData, filename) == 260);
static_assert(offsetof(clipData, start) == 520);
static_assert(offsetof(clipData, length) == 524);
static_assert(offsetof(clipData, offset) == 528);
static_assert(offsetof(clipData, makestart) == 540);
static_assert(offsetof(clipData, makeend) == 544);
static_assert(offsetof(clipData, track) == 552);
static_assert(offsetof(clipData, audiomuted) == 556);
static_assert(offsetof(clipData, videomuted) == 560);
static_assert(offsetof(clipData, childcount) == 564);
static_assert(offsetof(clipData, notarrangement) == 568);
static_assert(offsetof(clipData, videoeffectcount) == 572);
static_assert(offsetof(clipData, audioeffectcount) == 576);
static_assert(offsetof(clipData, audioeffectids) == 580);
static_assert(offsetof(clipData, videoeffectids) == 836);
static_assert(offsetof(clipData, medialength) == 1096);
static_assert(offsetof(clipData, audiomaster) == 1152);
static_assert(offsetof(clipData, videoformat) == 1160);
static_assert(offsetof(clipData, fpsoption) == 1164);
static_assert(offsetof(clipData, displaystate) == 1172);
static_assert(offsetof(clipData, sourcetype) == 1176);
static_assert(offsetof(clipData, text) == 1180);
static_assert(offsetof(clipData, fontname) == 2204);
static_assert(offsetof(clipData, textalign) == 2268);
static_assert(offsetof(clipData, reserved6) == 2272);
