// Opening files for the FFmpeg decoders: the demuxer with its safety settings, the first stream
// of a kind and its decoder. Internal to the readers.
#pragma once

#include <cstdint>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include "media/ffdecoder.h"

namespace ffinput {

// Once per process: keeps the libraries from printing about every damaged packet (a host that
// chose its own log level keeps it) and caps any one allocation of theirs at what the largest
// picture a decoder may make needs, so a field of a damaged file that claims gigabytes (a RIFF
// INFO chunk, say) is refused rather than allocated.
void PrepareLibraries();

// Lower caps for a process that feeds the decoders arbitrary bytes by the million (the fuzz
// targets): pictures of at most `pixels`, and `threads` decoder threads. The large pictures a
// damaged header claims then cost nothing, and no input starts threads.
void LimitDecoding(int64_t pixels, int threads);

// Opens path as a local file (never another protocol, never a numbered-file pattern) with the
// AVI demuxer or any demuxer that recognises it, and reads the stream information. Null on
// failure.
AVFormatContext *OpenInput(const char *path, ffdecoder::container c);

// The first stream of the given kind; for video, cover pictures are skipped. -1 when none.
int FindStream(const AVFormatContext *fmt, AVMediaType kind);

// A decoder opened on the stream's parameters, or null.
AVCodecContext *OpenDecoder(const AVStream *st);

// Milliseconds of `duration` ticks of time base tb, rounded down; -1 for an unknown duration.
int64_t TicksToMs(int64_t duration, AVRational tb);

// The time stamp, in the stream's time base, of the medium's time 0: the container's start,
// the earliest of its streams, so that pictures and sound keep their places relative to each
// other (the stream's own start when the container gives none).
int64_t OriginTs(const AVFormatContext *fmt, const AVStream *st);
// Milliseconds from the medium's time 0 to the stream's own start (0 when it starts with it).
int64_t StartOffsetMs(const AVFormatContext *fmt, const AVStream *st);

// The stream's and the container's lengths in milliseconds (-1 when unknown).
int64_t StreamLengthMs(const AVStream *st);
int64_t ContainerLengthMs(const AVFormatContext *fmt);

// Whether the container's length is only an estimate from a bit rate (which a junk rate in a
// header makes absurd).
bool LengthIsEstimate(const AVFormatContext *fmt);

// The real length of `stream` in milliseconds, by reading every packet of the file once on a
// demuxer of its own (nothing is decoded): the end of the last packet from the stream's first
// time stamp, or, with count_frames, the packets counted at the stream's frame rate (for bare
// elementary streams, whose time stamps are made up). -1 when it cannot be found.
int64_t MeasureLengthMs(const char *path, ffdecoder::container c, int stream, bool count_frames);

// Makes only `stream` deliver packets.
void KeepOnly(AVFormatContext *fmt, int stream);

// Back to the very start of the file, exactly: the demuxer is opened afresh (a timestamp seek
// to the start is only approximate in some containers). The stream keeps its number. False,
// with *fmt null, when the file can no longer be opened as it was.
bool Reopen(AVFormatContext **fmt, const char *path, ffdecoder::container c, int stream);

}  // namespace ffinput
