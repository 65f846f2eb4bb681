// The journal beside a project: opening and recovering it, appending with fsync, starting a
// new one at each save.
#include "engine/editjournal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "core/dialogs.h"
#include "core/vemo.h"
#include "engine/clip.h"

namespace {

bool WriteAll(int fd, const std::string &bytes) {
  const char *p = bytes.data();
  size_t left = bytes.size();
  while (left > 0) {
    const ssize_t n = ::write(fd, p, left);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    p += n;
    left -= size_t(n);
  }
  return true;
}

std::string FolderOf(const std::string &path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

// A rename is durable once the folder holding it is flushed.
void SyncFolder(const std::string &path) {
  const int dir = ::open(FolderOf(path).c_str(), O_RDONLY | O_DIRECTORY);
  if (dir < 0) return;
  ::fsync(dir);
  ::close(dir);
}

}  // namespace

editjournal::editjournal(clip *r, asker a) : edithistory(r), ask(std::move(a)) {}

editjournal::~editjournal() {
  const bool empty = fd >= 0 && written == 0;
  Close();
  // A journal this log started that never held anything leaves nothing behind.
  if (empty) ::unlink(journal.c_str());
}

void editjournal::Close() {
  if (fd >= 0) ::close(fd);
  fd = -1;
}

void editjournal::Tell(const std::string &text) {
  report = text;
  Root()->ProcessingMessage(text.c_str());
}

void editjournal::SetAside(const char *suffix, const std::string &why) {
  const std::string aside = journal + suffix;
  if (std::rename(journal.c_str(), aside.c_str()) == 0)
    Tell(journal + " " + why + "; it was set aside as " + aside);
  else
    Tell(journal + " " + why + " and cannot be set aside; edits are not written down");
}

void editjournal::Follow(const std::string &path) {
  Close();
  report.clear();
  written = 0;
  project = path;
  journal = path.empty() ? std::string() : path + ".journal";
  if (path.empty()) return;
  journalfile::basefile base;
  if (!journalfile::Identify(project, base)) {
    Tell(project + " cannot be read; edits are kept in memory until it is saved");
    return;
  }
  std::vector<uint8_t> bytes;
  // No cap: a journal that is not read whole would be started anew, and its edits lost.
  if (vemo::ReadWholeFile(journal.c_str(), bytes, SIZE_MAX)) {
    const journalfile::contents found = journalfile::Parse(bytes.data(), bytes.size());
    if (!found.header || !found.based || !(found.base == base)) {
      // Never overwritten: a journal that cannot be used here may still matter to someone.
      if (!found.header || !found.based)
        SetAside(".unreadable", "cannot be read (" + found.problem + ")");
      else
        SetAside(".unmatched", "belongs to another version of " + project);
      if (::access(journal.c_str(), F_OK) == 0) return;
    } else {
      SetHistory(found.history, found.done);
      if (!found.newer.empty() && !Recover(found)) return;
      // Appending continues after the last whole entry; a torn one is cut off.
      fd = ::open(journal.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
      if (fd < 0 || ::ftruncate(fd, off_t(found.goodbytes)) != 0 || ::fsync(fd) != 0) {
        Close();
        Tell(journal + " cannot be written; edits are not written down");
        return;
      }
      written = found.history.size() + found.newer.size();
      return;
    }
  }
  Rewrite(base);
}

bool editjournal::Recover(const journalfile::contents &found) {
  const std::string last = found.newer.back().what == 'S'   ? found.newer.back().step.name
                           : found.newer.back().what == 'U' ? "Undo"
                                                            : "Redo";
  const std::string question = project + " has " + std::to_string(found.newer.size()) +
                               " edits made after it was last saved (the last: " + last + "), kept in " +
                               journal + ". Recover them?";
  const bool yes = ask ? ask(question)
                       : Dialogs().MessageBox(Root()->GetWindow(), question.c_str(), "Recover Edits",
                                              boxbuttons::yesno, boxicon::question) == IDYES;
  if (!yes) {
    Tell("the edits made after the last save were not recovered; they stay in " + journal +
         " until the project is saved again");
    return false;
  }
  size_t applied = 0;
  bool ok = true;
  for (const journalfile::contents::event &e : found.newer) {
    ok = e.what == 'S' ? Replay(e.step) : e.what == 'U' ? Undo() : Redo();
    if (!ok) break;
    ++applied;
  }
  if (ok) {
    Tell("recovered " + std::to_string(applied) + " edits from " + journal);
    return true;
  }
  // A journal whose edits do not fit the saved file: the file is loaded again untouched.
  if (FILE *f = std::fopen(project.c_str(), "rb")) {
    Root()->Load(f);
    std::fclose(f);
  }
  SetHistory(found.history, found.done);
  Tell("the edits in " + journal + " do not fit " + project + " (edit " + std::to_string(applied + 1) +
       "); nothing was recovered and the journal was left as it is");
  return false;
}

bool editjournal::Rewrite(const journalfile::basefile &base) {
  Close();
  std::string temp = journal + ".XXXXXX";
  const int out = ::mkstemp(temp.data());
  if (out < 0) {
    Tell(journal + " cannot be written; edits are not written down");
    return false;
  }
  // The journal holds what the project holds: it gets the project's permissions.
  struct stat st;
  if (::stat(project.c_str(), &st) == 0) ::fchmod(out, st.st_mode & 0666);
  std::string bytes = journalfile::Header(base);
  for (const editstepdata &s : Steps()) bytes += journalfile::Entry(journalfile::StepPayload(s));
  bytes += journalfile::Entry(journalfile::BasePayload(uint32_t(Position())));
  bool ok = WriteAll(out, bytes) && ::fsync(out) == 0;
  ok = ::close(out) == 0 && ok;
  if (!ok || std::rename(temp.c_str(), journal.c_str()) != 0) {
    ::unlink(temp.c_str());
    Tell(journal + " cannot be written; edits are not written down");
    return false;
  }
  SyncFolder(journal);
  fd = ::open(journal.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  written = Steps().size();
  return fd >= 0;
}

bool editjournal::Append(const std::string &payload) {
  if (fd < 0) return false;
  if (WriteAll(fd, journalfile::Entry(payload)) && ::fdatasync(fd) == 0) {
    ++written;
    return true;
  }
  Close();
  Tell(journal + " cannot be written any more; edits from now on are not protected against a crash");
  return false;
}

void editjournal::Recorded(const editstepdata &s) { Append(journalfile::StepPayload(s)); }
void editjournal::Moved(bool undo) { Append(journalfile::MovePayload(undo)); }

void editjournal::Saved(const char *path) {
  if (!path || !*path) return;
  project = path;
  journal = project + ".journal";
  journalfile::basefile base;
  if (!journalfile::Identify(project, base)) {
    Close();
    Tell(project + " cannot be read back; edits are not written down");
    return;
  }
  Rewrite(base);
}

void editjournal::Loaded(const char *path) {
  edithistory::Loaded(path);
  Follow(path ? path : "");
}

std::unique_ptr<editjournal> OpenEditJournal(clip *root, const char *path, editjournal::asker ask) {
  if (!root) return nullptr;
  auto j = std::make_unique<editjournal>(root, std::move(ask));
  j->Follow(path ? path : "");
  root->SetEditLog(j.get());
  return j;
}
