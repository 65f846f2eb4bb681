// A file writer on FFmpeg's encoders and muxers, shared by the container export plugins (each
// plugin compiles it in; it needs nothing of the engine but the plugin interface).
//
// Common principles:
// - Pictures arrive as pix32 frames and are converted here: to 4:2:0 YUV for the compressing
//   codecs (full range for Motion JPEG, studio range otherwise, BT.601 coefficients), or copied
//   as 24-bit BGR for raw video. A frame of another size than the stream's is scaled to it.
//   Video codecs that need even sides code an odd side one pixel larger, the last column or row
//   repeated (Motion JPEG codes any size as it is; for 4:2:0 the conversion pads the same way).
// - Sound arrives in the internal format (44.1 kHz, 16-bit, stereo) and is written as it is
//   (PCM) or regrouped into the encoder's frames (AAC).
// - Close finishes the file on every path: encoders drained, trailer written, file closed. The
//   destructor closes a file still open, so a making that stops early leaves a valid file.
#pragma once

#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "media/plugin_abi.h"

extern "C" {
#include <libavutil/pixfmt.h>
#include <libavutil/rational.h>
}

struct AVFormatContext;
struct AVCodecContext;
struct AVStream;
struct AVFrame;
struct AVPacket;
struct SwsContext;

// One way of coding pictures: the option value that selects it, the encoders tried in order
// (the first present one is used), the pixel format it is fed and whether it needs even sides.
struct ffvideocodec {
  const char *option;                  // "mjpeg", "raw", "h264", ...
  std::vector<const char *> encoders;  // "libx264", ...
  AVPixelFormat pixfmt;
  bool evensides;
};

// What a container plugin is: its texts, its muxer, the picture codings it offers (the first
// is the default; none for a sound-only format) and its sound encoder (null for none).
struct ffexportformat {
  const char *description;
  const char *filetypes;
  const char *extension;
  const char *options;
  const char *muxer;
  std::vector<ffvideocodec> videocodecs;
  const char *audioencoder;
};

class ffexport : public imgio_export {
 public:
  explicit ffexport(ffexportformat format);
  ~ffexport() override;

  int Open(HWND owner) override;
  int Close() override;
  // "codec" (one of the format's codings), "qscale" (2-31, Motion JPEG and MPEG-4), "crf"
  // (0-51, H.264), "abitrate" (kbit/s, AAC).
  int SetOption(const char *name, const char *value) override;
  int PutVideo(int index, surf32 *frame) override;
  int PutAudio(int index, short *samples, int bytes) override;
  bool CanEncode(bool audio, bool video) override;
  int GetLastError(char *buffer, int size) override;

  // The encoder used by the open file (or chosen for the next); empty when none.
  const char *VideoEncoderName() const;

 private:
  bool Fail(const std::string &why);
  bool OpenVideo(int w, int h, double rate);
  bool OpenAudio();
  bool Encode(AVCodecContext *enc, AVStream *st, AVFrame *f);
  // Writes pkt (timed in `timebase`) to the stream st of the container.
  bool WritePacket(AVRational timebase, AVStream *st);
  bool FillVideoFrame(const surf32 *frame);
  bool EncodeSamples(const int16_t *in, int have, int frames);
  bool EncodeAudioBlock(int frames);
  // The output file, written through FFmpeg's I/O with `direct` set: a whole picture's packet
  // goes to the file in one write, not copied through the I/O buffer first.
  // An old file of that name is unlinked and its pages are freed on a thread of their own, joined
  // by CloseFile, when it is large, a plain file of ours with no other name: freeing a large
  // file takes about as long as writing a third of it, and nothing of the old file is kept
  // either way (truncating it in place, as is done otherwise, frees them before the first write).
  // The new file keeps the old one's permissions.
  bool OpenFile(const char *file);
  bool CloseFile();  // false when a write or the close failed
  void Free();

  ffexportformat format;
  int codec = 0;       // index into format.videocodecs
  int qscale = 3;      // Motion JPEG and MPEG-4 quantiser
  int crf = 18;        // H.264 constant rate factor
  int abitrate = 192;  // AAC kbit/s
  int threads = 1;     // for the picture converter and an encoder whose frames are independent
  std::string lasterror;
  std::string encodername;

  AVFormatContext *oc = nullptr;
  int fd = -1;  // the output file
  std::thread releaser;  // frees the pages of the old file of the same name (OpenFile)
  AVCodecContext *venc = nullptr;
  AVCodecContext *aenc = nullptr;
  AVStream *vst = nullptr;
  AVStream *ast = nullptr;
  AVFrame *vframe = nullptr;
  AVFrame *aframe = nullptr;
  AVPacket *pkt = nullptr;
  SwsContext *sws = nullptr;
  int swswidth = 0;  // the source size the converter was made for
  int swsheight = 0;
  bool headerwritten = false;
  bool failed = false;  // a write failed since Open: Close reports an incomplete file
  int64_t lastindex = -1;
  int64_t firstindex = 0;  // the index of the first frame written
  int64_t audiopos = 0;    // sample frames handed to the sound encoder
  int width = 0;           // the picture size asked for
  int height = 0;
  int convwidth = 0;  // the size pictures are converted at (even for 4:2:0)
  int convheight = 0;
  bool rawbgr24 = false;         // raw 24-bit pictures: written as packets, not through the encoder
  std::vector<pix32> staging;    // a frame with its odd side padded
  std::vector<int16_t> pending;  // sound waiting for a whole encoder frame
};
