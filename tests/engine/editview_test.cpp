// The editing window's engine half without a window: panes, hits, drags, commands, steps.
#include <gtest/gtest.h>

#include <algorithm>

#include "core/dialogs.h"
#include "core/intarraytree.h"
#include "core/uipalette.h"
#include "core/vemowin.h"
#include "editing/editscript.h"
#include "engine/editcommands.h"
#include "engine/edithistory.h"
#include "media/dc.h"

namespace {

constexpr int L = clip::kTrackHead;

// A log that writes down what it is told.
struct notebook : editlog {
  std::vector<std::string> said;
  void Begin(const char *what) override { said.push_back(std::string("begin ") + what); }
  void Changing(clip *c) override { said.push_back(std::string("changing ") + c->GetName()); }
  void Inserted(clip *) override { said.push_back("inserted"); }
  void Removing(clip *c) override { said.push_back(std::string("removing ") + c->GetName()); }
  void End() override { said.push_back("end"); }
  void Cancel() override { said.push_back("cancel"); }
};

struct EditView : testing::Test {
  vemowin context;
  clip root{&context, nullptr};
  notebook log;
  clip *a = nullptr;
  clip *b = nullptr;

  void SetUp() override {
    root.SetSize(10000);
    root.SetEditLog(&log);
    a = Child("A", 2000, 3000, 1);
    b = Child("B", 6000, 2000, 0);
    // 1072 x 600: the 24-row ruler from 331, the tracks from 355, right of the 72 columns of
    // track names; the whole 10 s span 1000 columns.
    Layout();
    log.said.clear();
  }
  clip *Child(const char *name, int start, int length, int track) {
    clip *c = new clip(&context);
    EXPECT_TRUE(root.ClipInsertChild(c));
    c->SetName(name);
    c->SetPosition(start);
    c->SetSize(length);
    c->SetTrack(track);
    return c;
  }
  void Layout() { root.Layout(RECT{0, 0, 1072, 600}); }
  uint32_t Mouse(uint32_t message, int x, int y) {
    return root.QueryAction(nullptr, message, POINT{x, y}, 0);
  }
  void Click(int x, int y) {
    Mouse(WM_LBUTTONDOWN, x, y);
    Mouse(WM_LBUTTONUP, x, y);
  }
  using said = std::vector<std::string>;
  // A clip's start, length, offset and track.
  using place = std::tuple<int, int, int, int>;
  static place Place(clip *c) { return {c->GetPosition(), c->GetSize(), c->GetOffset(), c->GetTrack()}; }
  uint32_t Drag(int x0, int y0, int x1, int y1) {
    uint32_t r = Mouse(WM_LBUTTONDOWN, x0, y0);
    r |= Mouse(WM_MOUSEMOVE, (x0 + x1) / 2, (y0 + y1) / 2);
    r |= Mouse(WM_MOUSEMOVE, x1, y1);
    return r | Mouse(WM_LBUTTONUP, x1, y1);
  }
  uint32_t Command(int command) {
    uint32_t r = 0;
    EXPECT_TRUE(root.QueryCommand(nullptr, command, &r));
    return r;
  }
};

bool Same(RECT a, RECT b) { return vemo::RCEQUAL(a, b); }

}  // namespace

TEST_F(EditView, PanesTracksAndClipRectanglesFollowZoomAndBandAndPointsHitThem) {
  EXPECT_TRUE(Same(root.GetRulerRect(), RECT{L, 331, L + 1000, 355}));
  EXPECT_TRUE(Same(root.GetArrangeArea(), RECT{L, 355, L + 1000, 600}));
  // 160 x 120 at the full upper height of 330 rows is 440 columns wide.
  EXPECT_TRUE(Same(root.GetPreviewRect(), RECT{0, 0, 440, 330}));
  EXPECT_TRUE(Same(root.GetEditorRect(), RECT{441, 0, 1072, 330}));
  // Band 40: track 1 spans rows 395..435; 2 s to 5 s at 10 ms a column.
  EXPECT_TRUE(Same(a->GetArrangeRect(), RECT{L + 200, 395, L + 500, 435}));
  EXPECT_TRUE(Same(b->GetArrangeRect(), RECT{L + 600, 355, L + 800, 395}));
  // A point hits the ruler, a clip, its ends or a track.
  using H = clip::arrhit;
  H h = root.ArrHitTest(POINT{L + 350, 340});
  EXPECT_EQ(std::pair(h.part, h.time), std::pair(int(clip::ARR_RULER), 3500));
  h = root.ArrHitTest(POINT{L + 350, 400});
  EXPECT_EQ(std::tuple(h.part, h.child, h.track), std::tuple(int(clip::ARR_CLIP), a, 1));
  for (auto [x, y, part] : {std::tuple{L + 204, 400, clip::ARR_HEAD},
                            {L + 205, 400, clip::ARR_CLIP},
                            {L + 495, 400, clip::ARR_TAIL},
                            {L + 500, 400, clip::ARR_TRACK},
                            {L + 350, 100, clip::ARR_NONE}})
    EXPECT_EQ(root.ArrHitTest(POINT{x, y}).part, part) << x << "," << y;
  h = root.ArrHitTest(POINT{L + 350, 360});
  EXPECT_EQ(std::tuple(h.part, h.child, h.track),
            std::tuple(int(clip::ARR_TRACK), static_cast<clip *>(nullptr), 0));
  // The later child lies above: a clip over B's place on track 0 takes the point.
  clip *c = Child("C", 6500, 500, 0);
  Layout();
  EXPECT_EQ(root.ArrHitTest(POINT{L + 670, 370}).child, c);
  // A clip narrower than three edges is all body.
  c->SetSize(100);
  Layout();
  EXPECT_EQ(root.ArrHitTest(POINT{L + 651, 370}).part, clip::ARR_CLIP);

  root.ArrZoomIn();  // 5 s across
  root.ArrBandIn();  // band 80
  Layout();
  EXPECT_TRUE(Same(a->GetArrangeRect(), RECT{L + 400, 435, L + 1000, 515}));
  EXPECT_EQ(root.ArrScroll(2500), QA_UPDATE);
  EXPECT_EQ(root.ArrScroll(10000), QA_UPDATE);  // stops where the end is at the right edge
  EXPECT_EQ(root.GetViewStart(), 5000);
  EXPECT_EQ(root.ArrScroll(1), 0u);
  Layout();
  EXPECT_TRUE(Same(b->GetArrangeRect(), RECT{L + 200, 355, L + 600, 435}));
  EXPECT_EQ(std::pair(root.ArrTimeAt(L + 200), root.ArrXAt(6000)), std::pair(6000, L + 200));
}

TEST_F(EditView, DragsMoveAndTrimByTheDragDeltaInOneStepEach) {
  // 100 columns right: ArrDragDelta = 100 * 10000 / 1000 = 1000 ms; then up onto free track 0.
  EXPECT_TRUE(Drag(L + 350, 400, L + 450, 400) & QA_CHANGED);
  EXPECT_EQ(Place(a), place(3000, 3000, 0, 1));
  EXPECT_EQ(root.GetCurrentChild(), a);
  EXPECT_EQ(log.said, (said{"begin Move", "changing A", "end"}));
  EXPECT_TRUE(root.isDirty());
  Drag(L + 450, 400, L + 430, 370);
  EXPECT_EQ(Place(a), place(2800, 3000, 0, 0));
  // B's time is taken on track 0: A stays on its track when pushed there.
  Drag(L + 400, 370, L + 400, 400);
  Drag(L + 400, 400, L + 750, 370);
  EXPECT_EQ(Place(a), place(6300, 3000, 0, 1));
  a->SetPosition(2000);
  // The tail: 50 columns left shortens by 500 ms; the head 50 columns right keeps the end and
  // the material in place; back beyond the start of the material the offset stops at 0.
  for (auto [x0, x1, where] : {std::tuple{L + 497, L + 447, place(2000, 2500, 0, 1)},
                               {L + 201, L + 251, place(2500, 2000, 500, 1)},
                               {L + 251, L + 151, place(2000, 2500, 0, 1)}}) {
    Layout();
    Drag(x0, 400, x1, 400);
    EXPECT_EQ(Place(a), where) << x0 << " to " << x1;
  }
  // A press without a move changes nothing and leaves no step.
  log.said.clear();
  Drag(L + 300, 400, L + 300, 400);
  EXPECT_EQ(log.said, (said{"begin Move", "changing A", "cancel"}));
  // With "Quantize Second" chosen (the ninth of the list) moves snap to whole seconds.
  HeadlessDialogs().choice_answer = 9;
  EXPECT_TRUE(Command(CMD_QUANTIZE) & QA_CHANGED);
  HeadlessDialogs().choice_answer = 0;
  EXPECT_EQ(int(root.GetMTime().GetQuantize()), 161);
  Drag(L + 300, 400, L + 337, 400);  // 2370 snaps back to 2000
  EXPECT_EQ(a->GetPosition(), 2000);
  Drag(L + 300, 400, L + 360, 400);  // 2600 snaps to 3000
  EXPECT_EQ(a->GetPosition(), 3000);
  // A right-click selects and offers the clip's options: the third mutes its sound.
  HeadlessDialogs().choice_answer = 3;
  Mouse(WM_RBUTTONDOWN, L + 620, 370);
  HeadlessDialogs().choice_answer = 0;
  EXPECT_EQ(root.GetCurrentChild(), b);
  EXPECT_TRUE(b->GetAudioMute());
  // The ruler scrubs the time.
  Drag(L + 100, 340, L + 420, 340);
  EXPECT_EQ(root.GetCurrentTime(), 4200);
}

TEST_F(EditView, CurveKeysAreAddedMovedAndDeletedWithTheMouse) {
  timefloat tf("IDS_TEST", 0.0, 1.0, 0.0);
  tf.SetViewingRange(0, 1000);
  tf.Layout(RECT{100, 100, 201, 151});
  // 1000 ms over 100 columns, 1.0 over 50 rows, both rounded.
  EXPECT_EQ(std::tuple(tf.KeyX(500), tf.KeyY(0.5), tf.KeyY(1.0), tf.TimeAtX(163)),
            std::tuple(150, 125, 100, 630));
  EXPECT_DOUBLE_EQ(tf.ValueAtY(140), 0.2);
  EXPECT_EQ(tf.QueryAction(nullptr, WM_LBUTTONDOWN, POINT{163, 140}, 0),
            uint32_t(QA_CAPTURE | QA_CHANGED | QA_UPDATE));
  tf.QueryAction(nullptr, WM_LBUTTONUP, POINT{163, 140}, 0);
  ASSERT_EQ(tf.HasValues(), 1);
  EXPECT_EQ(tf.Keys()[0].time, 630);
  EXPECT_DOUBLE_EQ(tf.Keys()[0].value, 0.2);
  EXPECT_EQ(std::pair(tf.KeyAt(POINT{166, 137}), tf.KeyAt(POINT{168, 140})), std::pair(0, -1));
  // A second key, then the first dragged: it stops a millisecond short of its neighbour.
  tf.QueryAction(nullptr, WM_LBUTTONDOWN, POINT{180, 100}, 0);
  tf.QueryAction(nullptr, WM_LBUTTONUP, POINT{180, 100}, 0);
  tf.Commit();
  tf.QueryAction(nullptr, WM_LBUTTONDOWN, POINT{163, 140}, 0);
  tf.QueryAction(nullptr, WM_MOUSEMOVE, POINT{195, 150}, 0);
  tf.QueryAction(nullptr, WM_LBUTTONUP, POINT{195, 150}, 0);
  EXPECT_EQ(tf.Keys()[0].time, 799);
  EXPECT_DOUBLE_EQ(tf.Keys()[0].value, 0.0);
  EXPECT_EQ(tf.Keys()[0].state, TF_KEY_MODIFIED);
  // A right press on a key deletes it.
  EXPECT_TRUE(tf.QueryAction(nullptr, WM_RBUTTONDOWN, POINT{tf.KeyX(800), tf.KeyY(1.0)}, 0) & QA_CHANGED);
  EXPECT_EQ(tf.HasValues(), 1);
}

TEST_F(EditView, TheEditorPaneKeysTheVariableMenusAndStepsReachItAndTheViewIsDrawn) {
  root.SelectCurrent(a);
  Layout();
  timefloatmgr &m = a->GetTimeFloatMgr();
  timefloat *tf = m.GetEditCurve();
  ASSERT_NE(tf, nullptr);
  const RECT r = tf->GetDrawRect();
  ASSERT_TRUE(vemo::checkrec(r));
  // The curve spans the clip's material: offset 0 to its 3 s.
  const POINT p = vemo::RCCTR(r);
  log.said.clear();
  Click(p.x, p.y);
  ASSERT_EQ(tf->HasValues(), 1);
  EXPECT_NEAR(tf->Keys()[0].time, 1500, 3000.0 / (r.right - r.left));
  EXPECT_EQ(log.said, (said{"begin Edit Variable", "changing A", "end"}));
  EXPECT_TRUE(root.ClipHasPendingEdits());
  Command(CMD_REVERT);
  EXPECT_EQ(tf->HasValues(), 0);
  EXPECT_FALSE(root.ClipHasPendingEdits());
  // A value typed into the list (a double click on its row) keys it at the current time.
  root.SetCurrentTime(2500);
  const RECT list = m.GetListRect();
  HeadlessDialogs().text_answer = "0.25";
  Mouse(WM_LBUTTONDBLCLK, list.left + 10, list.top + 2 + 5);
  HeadlessDialogs().text_answer.clear();
  ASSERT_EQ(tf->HasValues(), 1);
  EXPECT_EQ(tf->Keys()[0].time, 500);  // 2.5 s on the root is 0.5 s into A
  EXPECT_DOUBLE_EQ(tf->Keys()[0].value, 0.25);
  EXPECT_TRUE(root.isDirty());
  // Keys reach the value field only once it is pressed, so the window's own keys still work.
  EXPECT_EQ(root.QueryAction(nullptr, WM_CHAR, POINT{}, '7'), 0u);
  const POINT field = vemo::RCCTR(m.GetValueField().UIGetRect());
  Click(field.x, field.y);
  log.said.clear();
  for (char c : std::string("0.75")) EXPECT_NE(root.QueryAction(nullptr, WM_CHAR, POINT{}, c), 0u);
  EXPECT_STREQ(m.GetValueField().UIGetText(), "0.75");
  EXPECT_DOUBLE_EQ(tf->Keys()[0].value, 0.25);
  root.QueryAction(nullptr, WM_KEYDOWN, POINT{}, VK_RETURN);
  EXPECT_DOUBLE_EQ(tf->Keys()[0].value, 0.75);
  EXPECT_EQ(log.said, (said{"begin Edit Variable", "changing A", "end"}));
  // From the clip's start, the next key button goes to that key.
  root.SetCurrentTime(2000);
  const POINT next = vemo::RCCTR(m.UIItemResolve("NEXTKEYFRAME")->UIGetRect());
  EXPECT_TRUE(Mouse(WM_LBUTTONDOWN, next.x, next.y) & QA_CAPTURE);
  EXPECT_EQ(root.GetCurrentTime(), 2000);  // the press alone does nothing yet
  Mouse(WM_LBUTTONUP, next.x, next.y);
  EXPECT_EQ(root.GetCurrentTime(), 2500);

  // The variables form a menu tree by group and are stepped through.
  intarraytree tree;
  EXPECT_EQ(a->CollectTimeFloats(&tree), m.GetCount() - m.GroupCount());
  std::vector<std::string> texts;
  std::vector<int> values;
  tree.ToPopMenu(&texts, &values);
  const auto at = std::find(texts.begin(), texts.end(), "Source Rectangle > Source Left Edge");
  ASSERT_NE(at, texts.end());
  HeadlessDialogs().choice_answer = int(at - texts.begin()) + 1;
  EXPECT_EQ(tree.Pop(nullptr, "Show Variable"), 45);
  HeadlessDialogs().choice_answer = 0;
  EXPECT_EQ(tree.Pop(nullptr, "Show Variable"), 0);
  // Showing a variable makes its group current; the next variable goes round within the group.
  Command(CMD_SHOW_VARIABLE + 47);
  EXPECT_EQ(m.GetEditVariable(), 47);
  int members[8];
  EXPECT_EQ(m.GroupMembers(members, 8), 4);
  EXPECT_EQ(Command(CMD_VARIABLE_NEXT), uint32_t(QA_UPDATE));
  EXPECT_EQ(m.GetEditVariable(), 48);
  Command(CMD_VARIABLE_NEXT);
  EXPECT_EQ(m.GetEditVariable(), 45);
  // The next group shows its first variable; after the last group the first comes again.
  const int first = m.GetSelectedGroup();
  std::vector<int> seen;
  for (int i = 0; i < m.GroupCount(); ++i) {
    Command(CMD_GROUP_NEXT);
    m.FindCurrentGroup();
    seen.push_back(m.GetSelectedGroup());
  }
  EXPECT_EQ(seen.back(), first);
  std::sort(seen.begin(), seen.end());
  EXPECT_EQ(std::unique(seen.begin(), seen.end()) - seen.begin(), m.GroupCount());
  // The view is drawn where the layout puts it.
  root.SetCurrentTime(4000);
  Layout();
  std::vector<pix32> pixels(size_t(1072) * 600);
  dc hdc(pixels.data(), 1072, 600, 1072);
  root.Draw(&hdc, RECT{0, 0, 1072, 600}, 0);
  // The time slider at 4 s crosses the tracks; B fills its rectangle; A, current, is selected.
  EXPECT_EQ(std::tuple(hdc.GetPixel(L + 400, 590), hdc.GetPixel(L + 700, 375),
                       hdc.GetPixel(L + 300, 415)),
            std::tuple(ui::kCursor, ui::kClip, ui::kClipSelected));
}

TEST_F(EditView, EffectCommandsAddSelectReorderToggleDeleteAndChooseAColour) {
  root.SelectCurrent(a);
  EXPECT_TRUE(Command(CMD_VIDEO_EFFECT_ADD + 103) & QA_CHANGED);  // "Opacity"
  Command(CMD_VIDEO_EFFECT_ADD + 149);                            // "Blur"
  ASSERT_EQ(a->GetVideoEffectCount(), 2);
  EXPECT_EQ(root.GetEditTargetKind(), clip::EDIT_VIDEO_EFFECT);
  EXPECT_EQ(root.GetEditTarget(), static_cast<vemotime *>(a->GetVideoEffect(1)));
  Command(CMD_EFFECT_UP);
  EXPECT_EQ(a->GetVideoEffect(0)->GetID(), 149);
  EXPECT_EQ(a->GetCurrentVideoEffect(), 0);
  EXPECT_EQ(Command(CMD_EFFECT_UP), uint32_t(0));
  Command(CMD_EFFECT_TOGGLE);
  EXPECT_FALSE(a->GetVideoEffect(0)->IsActive());
  Command(CMD_CURRENT_VIDEO_EFFECT + 1);
  EXPECT_EQ(root.GetEditTarget(), static_cast<vemotime *>(a->GetVideoEffect(1)));
  Command(CMD_EFFECT_DELETE);
  ASSERT_EQ(a->GetVideoEffectCount(), 1);
  EXPECT_EQ(a->GetVideoEffect(0)->GetID(), 149);
  Command(CMD_AUDIO_EFFECT_ADD + 142);
  EXPECT_EQ(a->GetAudioEffectCount(), 1);
  Command(CMD_EFFECT_CLEAR_ALL);
  EXPECT_EQ(a->GetVideoEffectCount() + a->GetAudioEffectCount(), 0);
  EXPECT_EQ(root.GetEditTarget(), static_cast<vemotime *>(a));

  // The colour chooser keys red, green and blue in one step.
  EXPECT_EQ(Command(CMD_CHOOSE_COLOUR), 0u);  // the clip has no colour of its own
  Command(CMD_VIDEO_EFFECT_ADD + 28);         // "RGB Key"
  root.SetCurrentTime(3000);
  EXPECT_EQ(Command(CMD_CHOOSE_COLOUR), 0u);  // nothing chosen
  log.said.clear();
  HeadlessDialogs().colour_answer = RGB(255, 0, 128);
  EXPECT_TRUE(Command(CMD_CHOOSE_COLOUR) & QA_CHANGED);
  HeadlessDialogs().colour_answer = -1;
  EXPECT_EQ(log.said, (said{"begin Colour", "changing A", "end"}));
  effect *fx = a->GetVideoEffect(0);
  EXPECT_DOUBLE_EQ(fx->GetTimeFloat(38, 1000), 1.0);
  EXPECT_DOUBLE_EQ(fx->GetTimeFloat(39, 1000), 0.0);
  EXPECT_EQ(int(fx->GetTimeFloat(40, 1000) * 255.0), 128);  // the key reads back as the byte chosen
}

TEST_F(EditView, DuplicateFollowsTheOriginalOrTakesANewTrack) {
  root.SelectCurrent(b);
  log.said.clear();
  Command(CMD_CLIP_DUPLICATE);
  ASSERT_EQ(root.GetChildCount(), 3);
  clip *d = root.GetChild(2);
  EXPECT_EQ(Place(d), place(8000, 2000, 0, 0));
  EXPECT_STREQ(d->GetName(), "B copy");
  EXPECT_EQ(log.said, (said{"begin Duplicate", "inserted", "end"}));
  // No room after A on its track: the copy goes onto a new track.
  Child("C", 5000, 1000, 1);
  root.SelectCurrent(a);
  Command(CMD_CLIP_DUPLICATE);
  EXPECT_EQ(root.GetChild(4)->GetTrack(), 2);
}

// The window's commands recorded by a real history: each is one step, undone to the byte.
TEST_F(EditView, CommandsAreUndoneAndRedoneToTheByte) {
  edithistory history(&root);
  root.SetEditLog(&history);
  auto bytes = [&] { return editscript::Bytes(&root); };
  std::vector<std::string> states{bytes()};
  Drag(L + 350, 400, L + 450, 400);
  states.push_back(bytes());
  HeadlessDialogs().answer_yes = true;
  root.SelectCurrent(b);
  for (int command : {CMD_CLIP_DUPLICATE, CMD_CLIP_DELETE, CMD_ADD_GRADIENT}) {
    Command(command);
    states.push_back(bytes());
  }
  HeadlessDialogs().answer_yes = false;
  for (size_t i = states.size() - 1; i > 0; --i) {
    ASSERT_TRUE(history.Undo()) << i;
    EXPECT_TRUE(bytes() == states[i - 1]) << "undo to " << i - 1;
  }
  EXPECT_FALSE(history.CanUndo());
  for (size_t i = 1; i < states.size(); ++i) {
    ASSERT_TRUE(history.Redo());
    EXPECT_TRUE(bytes() == states[i]) << "redo to " << i;
  }
  root.SetEditLog(nullptr);
}

TEST_F(EditView, GeneratedClipsGoOntoANewTrackAtTheCurrentTime) {
  root.SetCurrentTime(8500);
  log.said.clear();
  Command(CMD_ADD_GRADIENT);
  ASSERT_EQ(root.GetChildCount(), 3);
  clip *g = root.GetChild(2);
  EXPECT_EQ(Place(g), place(8500, 1500, 0, 2));  // up to the end of the arrangement
  EXPECT_EQ(log.said, (said{"begin Add Gradient", "inserted", "end"}));
  // A text asks for its words; cancelling adds nothing.
  EXPECT_EQ(Command(CMD_ADD_TEXT), 0u);
  HeadlessDialogs().text_answer = "Hello";
  Command(CMD_ADD_TEXT);
  HeadlessDialogs().text_answer.clear();
  ASSERT_EQ(root.GetChildCount(), 4);
  EXPECT_STREQ(root.GetChild(3)->ClipGetText(), "Hello");
  EXPECT_EQ(root.GetCurrentChild(), root.GetChild(3));
}
