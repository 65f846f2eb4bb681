// edithistory: the recording edit log. Each closed step keeps, per clip it touched, the clip's
// own record before and after (never its children), and for each clip put in or taken out the
// whole subtree with the place it had; clips are found by their path of child indices from the
// root, which undoing and redoing keep stable. History is unbounded; a new step after undos
// drops what could have been redone.
//
// A step is taken in segments: a segment ends where a clip is put in or taken out, and at End.
// The after-state of every clip changed in a segment, and the subtree of a clip put in, are read
// when the segment ends, so paths within a segment always name the same clips. Undo walks the
// entries backwards putting before-states back; Redo walks them forwards.
//
// Changing, Inserted and Removing outside a step are ignored, and so is a clip that does not
// hang in this root's tree. A step whose clips all end as they began is dropped. Cancel puts the
// open step back and closes it, nested steps included; the End calls that follow are ignored.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "engine/editlog.h"
#include "engine/editrecord.h"

class clip;

// One recorded change. Bytes are packed (editrecord::Pack).
struct editentry {
  enum kind : uint8_t { change = 'C', insert = 'I', remove = 'R' };
  // Flags: for a change, `after` holds the difference to `before`; for a removal, the clip
  // was its parent's audio master.
  enum : uint8_t { after_is_xor = 1, was_audio_master = 2 };
  uint8_t what = change;
  uint8_t flags = 0;
  editrecord::clippath path;  // the clip changed, put in or taken out
  std::string before;         // change: own record before; insert/remove: the subtree
  std::string after;          // change: own record after (or its difference)
};

struct editstepdata {
  std::string name;
  std::vector<editentry> entries;
};

class edithistory : public editlog {
 public:
  explicit edithistory(clip *root);
  ~edithistory() override;

  void Begin(const char *what) override;
  void Changing(clip *c) override;
  void Inserted(clip *child) override;
  void Removing(clip *child) override;
  void End() override;
  void Cancel() override;
  bool CanUndo() const override;
  bool CanRedo() const override;
  bool Undo() override;
  bool Redo() override;
  const char *UndoName() const override;
  const char *RedoName() const override;
  void Loaded(const char *path) override;

  clip *Root() const { return root; }
  // The steps kept and how many of them are done (the rest can be redone).
  const std::vector<editstepdata> &Steps() const { return steps; }
  size_t Position() const { return position; }
  bool InStep() const { return depth > 0; }

 protected:
  // Told after a step was added to the history, and after each undo or redo (the journal
  // writes them down). A false answer is reported through the root's processing messages.
  virtual void Recorded(const editstepdata &) {}
  virtual void Moved(bool) {}
  // Applies a step to the tree, forwards (redo) or backwards (undo), without recording. False
  // when the tree does not fit the step (a damaged journal); the tree may be changed in part.
  bool Apply(const editstepdata &s, bool forward);
  // Replaces the history (a journal read back); the tree must be at `done` steps.
  void SetHistory(std::vector<editstepdata> s, size_t done);
  // Adds a step read back from a journal after the current position and applies it.
  bool Replay(editstepdata s);
  void Drop();

 private:
  struct pending {
    clip *c;
    size_t entry;
    std::string before;  // unpacked, to compare with the after-state
  };
  void Settle();
  bool ApplyEntry(const editentry &e, bool forward);

  clip *root;
  std::vector<editstepdata> steps;
  size_t position = 0;
  int depth = 0;
  bool cancelled = false;
  bool replaying = false;
  editstepdata open;
  std::vector<pending> changes;  // change entries of this segment waiting for their after-state
  std::vector<std::pair<clip *, size_t>> inserts;  // clips put in this segment
};
