// editjournal: the edit history written down beside the project, so that a crash loses no
// edit that was done and closing loses no undo step.
//
// PROJECT.vmp gets PROJECT.vmp.journal (layout in journalfile.h). Each closed step, undo and
// redo is appended and flushed to disk (fsync) before End, Undo or Redo returns. Saving the
// project (clip::ProjectSave, which tells the log) writes a new journal holding the whole
// history and the place of the saved state in it, so reopening gives the undo stack back.
// Opening a project whose journal holds edits made after the save offers to recover them; a
// journal of another saved file or an unreadable one is set aside under another name
// (".unmatched", ".unreadable"), never overwritten.
//
// For a host: after loading the project,
//   std::unique_ptr<editjournal> journal = OpenEditJournal(root, path);   // asks the dialogs
// and keep it alive while the root lives (destroy it before the root). Undo, Redo, UndoName
// and the rest of editlog work on it; Report() says what opening found.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "engine/edithistory.h"
#include "engine/journalfile.h"

class editjournal : public edithistory {
 public:
  // Answers whether to recover edits found in a journal; the question is a full sentence.
  using asker = std::function<bool(const std::string &question)>;
  // A history over `root` that writes nothing until Follow names a project.
  editjournal(clip *root, asker ask);
  ~editjournal() override;

  // Takes the journal of the saved project at `path` (the root must hold what the file
  // holds): reads its history, offers to recover newer edits, and from then on appends to
  // it. An empty path keeps the history in memory only.
  void Follow(const std::string &path);
  // One line about what Follow found and did ("" when there was nothing to tell).
  const std::string &Report() const { return report; }
  const std::string &JournalPath() const { return journal; }
  // Edits are being written down (false: memory only, or after a write failed).
  bool Writing() const { return fd >= 0; }

  void Saved(const char *path) override;
  void Loaded(const char *path) override;

 protected:
  void Recorded(const editstepdata &s) override;
  void Moved(bool undo) override;

 private:
  bool Append(const std::string &payload);
  // A new journal: header, the whole history, the base at the current position.
  bool Rewrite(const journalfile::basefile &base);
  bool Recover(const journalfile::contents &found);
  void SetAside(const char *suffix, const std::string &why);
  void Close();
  void Tell(const std::string &text);

  asker ask;
  std::string project;
  std::string journal;
  std::string report;
  int fd = -1;
  size_t written = 0;  // steps and moves the open journal holds
};

// Opens the journal of the project at `path` for `root` (just loaded from that file), makes it
// the root's edit log and returns it. `ask` decides about recovering newer edits; without one
// the host's dialogs ask (the CLI's answer is yes only with --yes). An empty path gives a
// history kept in memory.
std::unique_ptr<editjournal> OpenEditJournal(clip *root, const char *path, editjournal::asker ask = {});
