// Segments of one make, made apart with a frame range, and their joining into the file a single
// make would have written, without coding anything again.
//
// A segment file names its place in the whole make in its comment tag: frames [first, last) of
// the `count` frames at `fps` over the make range [start, start + length). Containers (AVI, WAV, MP4)
// carry the tag; picture sequences carry their place in the pictures' numbers instead.
#pragma once

#include <string>
#include <vector>

struct makesegment {
  int first = 0;
  int last = 0;
  int count = 0;
  int fps = 0;
  int start = 0;  // make range, ms
  int length = 0;
};

// The comment text that marks a segment file, and its reading (false for any other text).
std::string SegmentTag(const makesegment &s);
bool ParseSegmentTag(const std::string &text, makesegment *s);

// Cuts `count` frames into `segments` near-equal consecutive segments; segment k is
// [k * count / segments, (k + 1) * count / segments).
std::vector<makesegment> CutSegments(int count, int segments, int fps, int start, int length);

// Joins segment files made by one export plugin, given in any order, into `out` (written to a
// temporary file renamed over it). Containers are copied packet by packet: pictures as they
// are, PCM sound regrouped into the make's per-frame blocks. Picture sequences ("a.png" for
// a_000000.png, ...) are copied under out's names. False with one line in *why when the parts
// do not fit together: another plugin, size, rate or coding, a gap, an overlap, a short part.
bool JoinSegments(const std::vector<std::string> &parts, const std::string &out, std::string *why);
