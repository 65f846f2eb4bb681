// editrecord: the bytes an edit step keeps of clips (a clip's own record, a whole subtree),
// written and read by the project file's own code through memory streams, the path that
// finds a clip from the root, and a packing of those bytes that keeps a long history small.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class clip;

namespace editrecord {

// Child indices from the root down to a clip; empty for the root itself.
using clippath = std::vector<uint16_t>;

// The clip's own record (clip::SaveOwn) or the whole subtree (clip::Save); false on failure.
bool OwnBytes(clip *c, std::string &out);
bool TreeBytes(clip *c, std::string &out);
// Puts a clip back to its own record; false when the bytes are no such record.
bool RestoreOwn(clip *c, const std::string &bytes);
// A clip loaded from subtree bytes, not yet a child of `parent`; null when unreadable.
clip *LoadTree(clip *parent, const std::string &bytes);

// The path of c below root: false when c is not (or no longer) linked into root's tree.
bool PathOf(const clip *root, const clip *c, clippath &path);
// The clip at a path; null when the tree holds none there.
clip *AtPath(clip *root, const uint16_t *path, size_t n);

// Records are mostly zeros (fixed-size names and texts, reserved bytes): runs of zeros
// become one byte. A control byte c < 0x80 is followed by c + 1 literal bytes; c >= 0x80
// stands for c - 0x7F zero bytes. Unpack fails on a run that leaves the input.
std::string Pack(const std::string &raw);
bool Unpack(const uint8_t *data, size_t size, std::string &out);
// a ^ b byte by byte (equal sizes): an after-state kept as its difference to the before-state.
std::string Xor(const std::string &a, const std::string &b);

}  // namespace editrecord
