// Fuzz target: arbitrary bytes as a project's journal. The first byte picks how they are used:
// even, the rest is a journal file as it lies on disk (header, checksums and all); odd, the rest
// is a list of entries (length u32, payload) given valid checksums and a header that matches a
// small saved project, which is then opened with recovery and undone to its start, so that the
// step reader and the tree's undo and redo see arbitrary records.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "core/byteorder.h"
#include "core/dialogs.h"
#include "engine/editjournal.h"
#include "engine/project.h"
#include "fuzz_io.h"

namespace {

struct base {
  std::string dir, path;
  journalfile::basefile id;
};

const base &Base();

// A scratch folder named after this process, removed at exit. A run that is killed or crashes
// leaves its folder behind; those of processes that are gone are removed here.
std::string ScratchFolder() {
  namespace fs = std::filesystem;
  const std::string stem = "lv-fuzz-journal-";
  std::error_code ec;
  for (const fs::directory_entry &e : fs::directory_iterator(fuzzio::ScratchDir(), ec)) {
    const std::string name = e.path().filename().string();
    if (name.rfind(stem, 0) != 0) continue;
    const long pid = std::strtol(name.c_str() + stem.size(), nullptr, 10);
    if (pid > 0 && kill(pid_t(pid), 0) != 0 && errno == ESRCH) fs::remove_all(e.path(), ec);
  }
  const std::string dir = std::string(fuzzio::ScratchDir()) + "/" + stem + std::to_string(getpid());
  fs::remove_all(dir, ec);
  if (mkdir(dir.c_str(), 0700) != 0) std::abort();
  std::atexit([] { std::filesystem::remove_all(Base().dir); });
  return dir;
}

const base &Base() {
  static base *b = [] {
    for (const char *v : {"http_proxy", "HTTP_PROXY", "ftp_proxy", "ALL_PROXY", "all_proxy"})
      setenv(v, "http://127.0.0.1:9", 1);
    headless_dialogs &ui = HeadlessDialogs();
    ui.quiet = true;
    ui.answer_yes = false;
    auto *out = new base;
    out->dir = ScratchFolder();
    out->path = out->dir + "/p.vmp";
    vemoproject p;
    p.New(80, clip::kDefaultFps, 8000);
    clip *sub = p.AddArrangement(p.Root(), 0, 8000, 0);
    sub->SetName("sub");
    p.AddGenerator(sub, CLIP_SRC_TEXT, 0, 2000, 0)->SetName("t");
    p.AddGenerator(sub, CLIP_SRC_GRADIENT, 1000, 2000, 1)->SetName("g");
    p.AddGenerator(p.Root(), CLIP_SRC_GRADIENT, 0, 3000, 1)->SetName("back");
    p.Save(out->path.c_str());
    journalfile::Identify(out->path, out->id);
    return out;
  }();
  return *b;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  if ((data[0] & 1) == 0) {
    const journalfile::contents c = journalfile::Parse(data + 1, size - 1);
    // Whatever was read stands before where reading stopped.
    if (c.goodbytes > size - 1) __builtin_trap();
    if (!c.header && (c.based || !c.history.empty())) __builtin_trap();
    return 0;
  }
  const base &b = Base();
  std::string journal = journalfile::Header(b.id);
  for (size_t at = 1; at + 4 <= size;) {
    const size_t length = byteorder::le32(data + at);
    at += 4;
    if (length > size - at) break;
    journal += journalfile::Entry(std::string(reinterpret_cast<const char *>(data + at), length));
    at += length;
  }
  const std::string path = b.path + ".journal";
  if (FILE *f = std::fopen(path.c_str(), "wb")) {
    std::fwrite(journal.data(), 1, journal.size(), f);
    std::fclose(f);
  }
  {
    // One project for every input: starting the engine costs more than loading the small file.
    static vemoproject &p = *new vemoproject;
    if (!p.Load(b.path.c_str())) __builtin_trap();
    const auto log = OpenEditJournal(p.Root(), b.path.c_str(), [](const std::string &) { return true; });
    for (int i = 0; i < 64 && log->CanUndo(); ++i) log->Undo();
    for (int i = 0; i < 64 && log->CanRedo(); ++i) log->Redo();
    int ok = 0;
    (void)fuzzio::SavedBytes(*p.Root(), &ok);
    if (!ok) __builtin_trap();
  }
  // Whatever the opening set aside or wrote is cleared for the next input.
  for (const char *suffix : {".journal", ".journal.unmatched", ".journal.unreadable"})
    unlink((b.path + suffix).c_str());
  return 0;
}
