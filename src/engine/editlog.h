// editlog: the one way a project changes while a person edits it. Every edit, from the window,
// from a macro's object command or from a host, is a step: it names itself, says which clips it
// is about to change, insert or remove, and closes. A closed step can be undone and redone
// exactly, is appended to the journal beside the project and flushed before the edit counts as
// done, so a crash loses nothing that was shown.
//
// The host owns the log and hands it to the root (clip::SetEditLog); with no log, edits are not
// recorded (making, rendering, a library user that keeps its own history).
//
// Steps nest: only the outermost Begin/End pair is one undo step, so a drag that moves a clip
// sixty times is undone once.
#pragma once

class clip;

class editlog {
 public:
  editlog() = default;
  editlog(const editlog &) = delete;
  editlog &operator=(const editlog &) = delete;
  virtual ~editlog() = default;

  // Opens a step called `what` ("Move", "Trim", "Add Key", ...).
  virtual void Begin(const char *what);
  // Before `c` itself changes: its fields, variables and keys, effects (not its children).
  virtual void Changing(clip *c);
  // After `child` was put into its parent.
  virtual void Inserted(clip *child);
  // Before `child` leaves its parent (it is kept whole, so undoing puts it back where it was).
  virtual void Removing(clip *child);
  // Closes the step; the outermost End records it.
  virtual void End();
  // Drops the open step's changes: every clip is put back as it was at Begin. The step is
  // closed, nested ones included; the End calls that follow are ignored. Changing, Inserted
  // and Removing outside a step are ignored.
  virtual void Cancel();

  virtual bool CanUndo() const;
  virtual bool CanRedo() const;
  virtual bool Undo();
  virtual bool Redo();
  // The name of the step Undo or Redo would take back or do again ("" when there is none).
  virtual const char *UndoName() const;
  virtual const char *RedoName() const;

  // Told by the root after it was saved to `path` (the journal starts anew beside the saved
  // file) and after it was loaded from `path` (the history of the replaced tree is dropped).
  virtual void Saved(const char *path);
  virtual void Loaded(const char *path);
};

// Opens a step for the life of a scope: `editstep step(root, "Move");` then the changes.
class editstep {
 public:
  editstep(clip *any, const char *what);
  ~editstep();
  editstep(const editstep &) = delete;
  editstep &operator=(const editstep &) = delete;

 private:
  editlog *log;
};
