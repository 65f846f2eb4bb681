// The journal beside a project: reopening, damaged and foreign journals, and killed processes.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "editing/editscript.h"
#include "engine/editjournal.h"
#include "support/mediafile.h"
#include "support/wavfile.h"

namespace {

namespace fs = std::filesystem;

using fixtures::ReadFileText;

// A project opened for editing as a host opens it: loaded, then its journal followed.
struct opened {
  vemoproject p;
  std::unique_ptr<editjournal> log;
  std::string asked;
  opened(const std::string &path, bool recover) {
    EXPECT_TRUE(p.Load(path.c_str()));
    log = OpenEditJournal(p.Root(), path.c_str(), [this, recover](const std::string &q) {
      asked = q;
      return recover;
    });
  }
  bool Send(const std::string &object, const std::string &command) {
    char result[UIITEM_RESULT_SIZE] = "";
    return EditCommand(p.Root()->UIItemResolve(object.c_str()), command.c_str(), result);
  }
  std::string Bytes() { return editscript::Bytes(p.Root()); }
};

struct journal : ::testing::Test {
  fixtures::temp_dir dir;
  std::string path = dir.file("p.vmp");
  std::string original;
  void SetUp() override {
    vemoproject p;
    editscript::Generate(p, 2, 4, 20000);
    ASSERT_TRUE(p.Save(path.c_str()));
    original = editscript::Bytes(p.Root());
  }
};

TEST_F(journal, ReopeningGivesTheUndoStackBack) {
  std::string saved, last;
  {
    opened a(path, true);
    ASSERT_TRUE(a.Send("a0.c0", "Place 4 1"));
    ASSERT_TRUE(a.Send("a0.c1.IDS_DST_L", "SetKey 0.5 0.9"));
    ASSERT_TRUE(a.p.Root()->ProjectSave(path.c_str()));
    saved = a.Bytes();
    ASSERT_TRUE(a.Send("a1", "Delete c2"));
    ASSERT_TRUE(a.log->Undo());
    ASSERT_TRUE(a.Send("a1.c3", "Rename Title"));
    last = a.Bytes();
  }
  // Closing without saving: the file holds the saved state, the journal the two edits after it.
  opened b(path, true);
  EXPECT_NE(b.asked.find("has 3 edits made after it was last saved (the last: Rename)"), std::string::npos);
  EXPECT_EQ(b.Bytes(), last);
  for (const char *name : {"Rename", "Set Key", "Move"}) {
    EXPECT_STREQ(b.log->UndoName(), name);
    ASSERT_TRUE(b.log->Undo());
  }
  EXPECT_FALSE(b.log->CanUndo());
  EXPECT_EQ(b.Bytes(), original);
  ASSERT_TRUE(b.log->Redo());
  ASSERT_TRUE(b.log->Redo());
  EXPECT_EQ(b.Bytes(), saved);
}

TEST_F(journal, TornDamagedAndForeignJournals) {
  std::string one;
  {
    opened a(path, true);
    ASSERT_TRUE(a.Send("a0.c0", "Place 4 1"));
    one = a.Bytes();
    ASSERT_TRUE(a.Send("a0.c1", "Place 6 1"));
  }
  const std::string whole = ReadFileText(path + ".journal");
  // The last entry cut short: the edit before it stands, and the next edit appends cleanly.
  fs::resize_file(path + ".journal", whole.size() - 3);
  {
    opened b(path, true);
    EXPECT_EQ(b.Bytes(), one);
    ASSERT_TRUE(b.Send("a0.c2", "Place 8 1"));
  }
  {
    opened c(path, true);
    EXPECT_NE(c.asked.find("has 2 edits"), std::string::npos);
    ASSERT_TRUE(c.log->Undo());
    EXPECT_EQ(c.Bytes(), one);
  }
  // A file saved by someone else: its journal is set aside, never applied or overwritten.
  std::string theirs;
  {
    vemoproject other;
    ASSERT_TRUE(other.Load(path.c_str()));
    other.Root()->SetSize(5000);
    ASSERT_TRUE(other.Save(path.c_str()));
    theirs = editscript::Bytes(other.Root());
  }
  const std::string foreign = ReadFileText(path + ".journal");
  {
    opened e(path, true);
    EXPECT_NE(e.log->Report().find("set aside"), std::string::npos);
    EXPECT_EQ(ReadFileText(path + ".journal.unmatched"), foreign);
    EXPECT_EQ(e.Bytes(), theirs);
    ASSERT_TRUE(e.log->Writing());
    ASSERT_TRUE(e.Send("a0.c0", "Place 5 1"));
  }
  // One changed byte in the first entry's payload: nothing from there on is trusted.
  std::string bad = ReadFileText(path + ".journal");
  bad[journalfile::kHeaderSize + 12] ^= 0x40;
  std::ofstream(path + ".journal", std::ios::binary) << bad;
  opened d(path, true);
  EXPECT_EQ(d.Bytes(), theirs);
  EXPECT_TRUE(d.asked.empty());
  EXPECT_EQ(ReadFileText(path + ".journal.unreadable"), bad);
}

TEST_F(journal, DeclinedRecoveryLeavesTheJournalAsItWas) {
  {
    opened a(path, true);
    ASSERT_TRUE(a.Send("a0.c0", "Place 4 1"));
  }
  const std::string kept = ReadFileText(path + ".journal");
  { opened quiet(path, false); }
  {
    opened b(path, false);
    EXPECT_FALSE(b.asked.empty());
    EXPECT_EQ(b.Bytes(), original);
    EXPECT_FALSE(b.log->Writing());
    ASSERT_TRUE(b.Send("a0.c1", "Place 9 1"));
  }
  EXPECT_EQ(ReadFileText(path + ".journal"), kept);
  // Nothing to tell, nothing left behind: a project opened and closed without edits.
  const std::string clean = dir.file("clean.vmp");
  fs::copy_file(path, clean);
  { opened c(clean, true); }
  EXPECT_FALSE(fs::exists(clean + ".journal"));
}

// The crash test. A child process edits a project through the command layer, acknowledging each
// edit on a pipe once it returned, and is killed with SIGKILL at a random moment. Reopening must
// give the state after the last acknowledged edit (or the next one, when the kill came after it
// was written down). LUMIVAXEL_CRASH_KILLS sets the number of kills.
constexpr int kEdits = 24;
constexpr int kSaveAt = 12;
constexpr uint32_t kSeed = 77;

void Edit(editscript::driver &d, clip *root, const std::string &path, int i) {
  if (i == kSaveAt)
    root->ProjectSave(path.c_str());
  else
    d.Step();
}

[[noreturn]] void EditUntilKilled(vemoproject &p, const std::string &path, int ack) {
  p.Load(path.c_str());
  const auto log = OpenEditJournal(p.Root(), path.c_str(), [](const std::string &) { return true; });
  editscript::driver d(p.Root(), kSeed);
  int32_t ready = -1;
  if (::write(ack, &ready, sizeof ready) != sizeof ready) ::_exit(2);
  for (int32_t i = 0; i < kEdits; ++i) {
    Edit(d, p.Root(), path, i);
    if (::write(ack, &i, sizeof i) != sizeof i) ::_exit(2);
  }
  ::_exit(0);
}

TEST(journalcrash, KilledAtRandomPointsRecoversTheLastAcknowledgedEdit) {
  const int kills = int(editscript::Count("LUMIVAXEL_CRASH_KILLS", 200, 40));
  fixtures::temp_dir dir;
  const std::string base = dir.file("base.vmp"), run = dir.file("run.vmp"), scratch = dir.file("expect.vmp");
  {
    vemoproject p;
    editscript::Generate(p, 2, 10, 60000);
    ASSERT_TRUE(p.Save(base.c_str()));
  }
  // The states after each edit, from the same edits done here.
  std::vector<std::string> expected;
  {
    fs::copy_file(base, scratch);
    vemoproject p;
    ASSERT_TRUE(p.Load(scratch.c_str()));
    const auto log = OpenEditJournal(p.Root(), "");
    editscript::driver d(p.Root(), kSeed);
    expected.push_back(editscript::Bytes(p.Root()));
    for (int i = 0; i < kEdits; ++i) {
      Edit(d, p.Root(), scratch, i);
      expected.push_back(editscript::Bytes(p.Root()));
    }
  }
  // Made once before the children are forked (they get a copy) and the reopenings: a kill
  // costs a load, not the start of an engine.
  vemoproject child, reopened;
  std::mt19937 rng(4242);
  double editing_us = 0;  // how long a child takes for all its edits, measured on the first run
  for (int k = 0; k < kills + 1; ++k) {
    for (const char *leftover : {"", ".journal", ".journal.unmatched", ".journal.unreadable"})
      fs::remove(run + leftover);
    fs::copy_file(base, run);
    int fds[2];
    ASSERT_EQ(::pipe(fds), 0);
    const pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      ::close(fds[0]);
      EditUntilKilled(child, run, fds[1]);
    }
    ::close(fds[1]);
    int32_t word = 0;
    ASSERT_EQ(::read(fds[0], &word, sizeof word), ssize_t(sizeof word));
    const auto start = std::chrono::steady_clock::now();
    if (k == 0) {
      // The first run goes to the end untouched, to learn how long the edits take.
      int status = 0;
      ::waitpid(pid, &status, 0);
      editing_us = double(
          std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start)
              .count());
    } else {
      std::this_thread::sleep_for(std::chrono::microseconds(int64_t(editing_us * (rng() % 1000) / 1000.0)));
      ::kill(pid, SIGKILL);
      ::waitpid(pid, nullptr, 0);
    }
    int acked = 0;
    while (::read(fds[0], &word, sizeof word) == ssize_t(sizeof word)) acked = word + 1;
    ::close(fds[0]);

    ASSERT_TRUE(reopened.Load(run.c_str()));
    const auto log = OpenEditJournal(reopened.Root(), run.c_str(), [](const std::string &) { return true; });
    const std::string now = editscript::Bytes(reopened.Root());
    // The edit in flight may already have been written down.
    EXPECT_TRUE(now == expected[size_t(acked)] || (acked < kEdits && now == expected[size_t(acked) + 1]))
        << "kill " << k << ": " << acked << " edits acknowledged, the reopened project holds another state";
  }
}

}  // namespace
