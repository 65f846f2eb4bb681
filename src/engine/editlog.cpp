// The base log records nothing: a host that wants no history passes none; the recording log
// derives from it.
#include "engine/editlog.h"

#include "engine/clip.h"

void editlog::Begin(const char *) {}
void editlog::Changing(clip *) {}
void editlog::Inserted(clip *) {}
void editlog::Removing(clip *) {}
void editlog::End() {}
void editlog::Cancel() {}
bool editlog::CanUndo() const { return false; }
bool editlog::CanRedo() const { return false; }
bool editlog::Undo() { return false; }
bool editlog::Redo() { return false; }
const char *editlog::UndoName() const { return ""; }
const char *editlog::RedoName() const { return ""; }
void editlog::Saved(const char *) {}
void editlog::Loaded(const char *) {}

editstep::editstep(clip *any, const char *what) : log(any ? any->GetEditLog() : nullptr) {
  if (log) log->Begin(what);
}

editstep::~editstep() {
  if (log) log->End();
}
