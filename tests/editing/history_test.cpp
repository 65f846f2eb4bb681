// The edit history: every command undone and redone to the byte, nested and empty steps.
#include <gtest/gtest.h>

#include "editing/editscript.h"
#include "engine/editjournal.h"

namespace {

struct history : ::testing::Test {
  vemoproject p;
  std::unique_ptr<editjournal> log;
  void SetUp() override {
    editscript::Generate(p, 2, 6, 20000);
    log = OpenEditJournal(p.Root(), "");
  }
  bool Send(const std::string &object, const std::string &command) {
    char result[UIITEM_RESULT_SIZE] = "";
    return EditCommand(p.Root()->UIItemResolve(object.c_str()), command.c_str(), result);
  }
  std::string Bytes() { return editscript::Bytes(p.Root()); }
};

TEST_F(history, EveryCommandIsOneStepUndoneAndRedoneExactly) {
  const struct {
    const char *object, *command, *step;
  } edits[] = {
      {"a0.c0", "Place 3 1.5 2", "Move"},
      {"a0.c1", "SetOffset 0.25", "Trim"},
      {"a0.c2", "Split 1", "Split"},
      {"a0.c3", "AddEffect 29", "Add Effect"},
      {"a0.c3", "RemoveEffect fx1", "Delete Effect"},
      {"a0.c4.IDS_DST_L", "SetKey 0.5 0.7", "Set Key"},
      {"a0.c4.IDS_DST_L", "KillKey 1", "Delete Key"},
      {"a0.c4.IDS_DST_L", "Reset", "Delete Keys"},
      {"a1", "Delete c5", "Delete"},
      {"a1", "AddText T 2 1 3 hello", "Add Text"},
      {"a1", "AddGradient G 3 1 3", "Add Gradient"},
      {"a1", "AddArrangement Inner 0 2 2", "Add Arrangement"},
      {"a1.c2", "Rename Logo", "Rename"},
      {"a1.c1", "MuteVideo 1", "Mute"},
      {"a1.c0", "SetText bye", "Text"},
      {"a1.c0", "AudioMaster 1", "Audio Master"},
      {"Arrangement", "SetFormat 640 480", "Picture Size"},
      {"Arrangement", "SetFps 25", "Frame Rate"},
      {"Arrangement", "SetLength 12", "Length"},
  };
  for (const auto &e : edits) {
    SCOPED_TRACE(std::string(e.object) + " " + e.command);
    const std::string before = Bytes();
    ASSERT_TRUE(Send(e.object, e.command));
    const std::string after = Bytes();
    ASSERT_NE(after, before);
    EXPECT_STREQ(log->UndoName(), e.step);
    ASSERT_TRUE(log->Undo());
    EXPECT_EQ(Bytes(), before);
    EXPECT_STREQ(log->RedoName(), e.step);
    ASSERT_TRUE(log->Redo());
    EXPECT_EQ(Bytes(), after);
  }
  EXPECT_EQ(log->Steps().size(), std::size(edits));
}

TEST_F(history, NestedStepsCancelAndCommandsThatChangeNothing) {
  const std::string original = Bytes();
  // A drag: many moves inside one outer step are undone at once.
  log->Begin("Drag");
  for (int i = 1; i <= 5; ++i) ASSERT_TRUE(Send("a0.c0", "Place " + std::to_string(i) + " 2"));
  log->End();
  EXPECT_EQ(log->Steps().size(), 1u);
  ASSERT_TRUE(log->Undo());
  EXPECT_EQ(Bytes(), original);

  // Cancel puts the open step back and closes it; the End after it is ignored.
  {
    editstep step(p.Root(), "Move");
    clip *c = p.Root()->GetChild(0)->GetChild(1);
    log->Changing(c);
    c->SetPosition(7777);
    log->Cancel();
  }
  EXPECT_EQ(Bytes(), original);
  EXPECT_FALSE(log->InStep());

  // A refused command and one that sets what is there leave no step; the redo tail stays.
  EXPECT_FALSE(Send("a0.c0", "Place -1"));
  EXPECT_TRUE(Send("a0.c0", "Rename c0"));
  EXPECT_TRUE(Send("a0.c0", "GetPosition"));
  EXPECT_TRUE(log->CanRedo());
  // A new step after an undo drops what could have been redone.
  ASSERT_TRUE(Send("a0.c1", "Place 9 1"));
  EXPECT_FALSE(log->CanRedo());
  EXPECT_EQ(log->Steps().size(), 1u);
  EXPECT_FALSE(log->Undo() && log->Undo());
  EXPECT_EQ(Bytes(), original);
}

// Random edits, undos and redos, all undone and redone to the byte (LUMIVAXEL_EDIT_OPS: how many).
TEST(historyproperty, RandomEditsUndoneAndRedoneWhole) {
  const long ops = editscript::Count("LUMIVAXEL_EDIT_OPS", 6000, 1500);
  const int clips = int(editscript::Count("LUMIVAXEL_EDIT_CLIPS", 40, 40));
  vemoproject p;
  editscript::Generate(p, 4, clips);
  const auto log = OpenEditJournal(p.Root(), "");
  const std::string original = editscript::Bytes(p.Root());
  editscript::driver d(p.Root(), 20261123);
  for (long i = 0; i < ops; ++i) d.Step();
  const std::string final_bytes = editscript::Bytes(p.Root());
  const size_t done = log->Position();
  while (log->CanUndo()) ASSERT_TRUE(log->Undo());
  EXPECT_EQ(editscript::Bytes(p.Root()), original);
  for (size_t i = 0; i < done; ++i) ASSERT_TRUE(log->Redo());
  EXPECT_EQ(editscript::Bytes(p.Root()), final_bytes);
}

}  // namespace
