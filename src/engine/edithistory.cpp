// The recording edit log: steps of before/after records, undo and redo over them.
#include "engine/edithistory.h"

#include <algorithm>
#include <utility>

#include "engine/clip.h"

using editrecord::Pack;

namespace {

bool Unpacked(const std::string &packed, std::string &out) {
  return editrecord::Unpack(reinterpret_cast<const uint8_t *>(packed.data()), packed.size(), out);
}

}  // namespace

edithistory::edithistory(clip *r) : root(r) {}

edithistory::~edithistory() {
  if (root && root->GetEditLog() == this) root->SetEditLog(nullptr);
}

void edithistory::Begin(const char *what) {
  if (depth++ > 0) return;
  open = editstepdata{what ? what : "", {}};
  changes.clear();
  inserts.clear();
}

void edithistory::Changing(clip *c) {
  if (depth == 0 || replaying || !c) return;
  for (const pending &p : changes)
    if (p.c == c) return;
  // A clip put in during this segment is read whole when the segment ends.
  for (const auto &[in, entry] : inserts)
    if (in == c) return;
  editentry e;
  std::string before;
  if (!editrecord::PathOf(root, c, e.path) || !editrecord::OwnBytes(c, before)) return;
  e.before = Pack(before);
  changes.push_back(pending{c, open.entries.size(), std::move(before)});
  open.entries.push_back(std::move(e));
}

void edithistory::Inserted(clip *child) {
  if (depth == 0 || replaying || !child) return;
  Settle();
  editentry e;
  e.what = editentry::insert;
  if (!editrecord::PathOf(root, child, e.path) || e.path.empty()) return;
  inserts.emplace_back(child, open.entries.size());
  open.entries.push_back(std::move(e));
}

void edithistory::Removing(clip *child) {
  if (depth == 0 || replaying || !child) return;
  Settle();
  editentry e;
  e.what = editentry::remove;
  std::string tree;
  if (!editrecord::PathOf(root, child, e.path) || e.path.empty() || !editrecord::TreeBytes(child, tree)) return;
  const clip *parent = child->GetParentClip();
  if (parent->GetAudioMaster() == child) e.flags |= editentry::was_audio_master;
  e.before = Pack(tree);
  open.entries.push_back(std::move(e));
}

void edithistory::Settle() {
  for (pending &p : changes) {
    editentry &e = open.entries[p.entry];
    std::string after;
    if (!editrecord::OwnBytes(p.c, after) || after == p.before) {
      e.what = 0;  // nothing to keep
    } else if (after.size() == p.before.size()) {
      e.after = Pack(editrecord::Xor(p.before, after));
      e.flags |= editentry::after_is_xor;
    } else {
      e.after = Pack(after);
    }
  }
  for (const auto &[c, entry] : inserts) {
    std::string tree;
    if (editrecord::TreeBytes(c, tree))
      open.entries[entry].before = Pack(tree);
    else
      open.entries[entry].what = 0;
  }
  changes.clear();
  inserts.clear();
  open.entries.erase(
      std::remove_if(open.entries.begin(), open.entries.end(), [](const editentry &e) { return e.what == 0; }),
      open.entries.end());
}

void edithistory::End() {
  if (depth == 0 || --depth > 0) return;
  Settle();
  if (open.entries.empty()) return;
  steps.resize(position);
  steps.push_back(std::move(open));
  open = editstepdata{};
  ++position;
  Recorded(steps.back());
}

void edithistory::Cancel() {
  if (depth == 0) return;
  Settle();
  Apply(open, false);
  open = editstepdata{};
  depth = 0;
}

bool edithistory::CanUndo() const { return depth == 0 && position > 0; }
bool edithistory::CanRedo() const { return depth == 0 && position < steps.size(); }

bool edithistory::Undo() {
  if (!CanUndo() || !Apply(steps[position - 1], false)) return false;
  --position;
  Moved(true);
  return true;
}

bool edithistory::Redo() {
  if (!CanRedo() || !Apply(steps[position], true)) return false;
  ++position;
  Moved(false);
  return true;
}

const char *edithistory::UndoName() const { return CanUndo() ? steps[position - 1].name.c_str() : ""; }
const char *edithistory::RedoName() const { return CanRedo() ? steps[position].name.c_str() : ""; }

void edithistory::Loaded(const char *) { Drop(); }

void edithistory::Drop() {
  steps.clear();
  position = 0;
  open = editstepdata{};
  depth = 0;
  changes.clear();
  inserts.clear();
}

void edithistory::SetHistory(std::vector<editstepdata> s, size_t done) {
  steps = std::move(s);
  position = std::min(done, steps.size());
}

bool edithistory::Replay(editstepdata s) {
  steps.resize(position);
  steps.push_back(std::move(s));
  if (!Apply(steps.back(), true)) {
    steps.pop_back();
    return false;
  }
  ++position;
  return true;
}

bool edithistory::Apply(const editstepdata &s, bool forward) {
  // The worker (a playing preview) waits while the tree changes under it.
  root->ClipCriticalStart();
  replaying = true;
  bool ok = true;
  const size_t n = s.entries.size();
  for (size_t k = 0; k < n && ok; ++k) ok = ApplyEntry(s.entries[forward ? k : n - 1 - k], forward);
  replaying = false;
  root->ClipCollectState();
  root->ClipCriticalEnd();
  return ok;
}

bool edithistory::ApplyEntry(const editentry &e, bool forward) {
  const size_t n = e.path.size();
  if (e.what == editentry::change) {
    clip *c = editrecord::AtPath(root, e.path.data(), n);
    std::string before, after;
    if (!c || !Unpacked(e.before, before)) return false;
    if (!forward) return editrecord::RestoreOwn(c, before);
    if (!Unpacked(e.after, after)) return false;
    if (e.flags & editentry::after_is_xor) {
      if (after.size() != before.size()) return false;
      after = editrecord::Xor(before, after);
    }
    return editrecord::RestoreOwn(c, after);
  }
  if (n == 0 || (e.what != editentry::insert && e.what != editentry::remove)) return false;
  const bool putin = (e.what == editentry::insert) == forward;
  clip *parent = editrecord::AtPath(root, e.path.data(), n - 1);
  if (!parent || !parent->IsArrangement()) return false;
  const int index = e.path.back();
  if (!putin) {
    clip *c = parent->GetChild(index);
    if (!c) return false;
    parent->ChildDelete(c);
    return true;
  }
  std::string tree;
  if (index > parent->GetChildCount() || !Unpacked(e.before, tree)) return false;
  clip *c = editrecord::LoadTree(parent, tree);
  if (!c) return false;
  if (!parent->ClipInsertChildAt(c, index)) {
    delete c;
    return false;
  }
  if (e.flags & editentry::was_audio_master) parent->SetAudioMaster(c);
  return true;
}
