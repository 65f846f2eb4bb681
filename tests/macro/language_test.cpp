// The macro language: clauses, calculations, conditions, blocks, calls, built-ins, the log.
#include <gtest/gtest.h>

#include "core/dialogs.h"
#include "core/vemo.h"
#include "macro/macro.h"
#include "macrotest.h"
#include "support/wavfile.h"

using macrotest::RunText;

namespace {

UIItem g_root;

void Fails(const std::string &clauses, const std::string &says) {
  macrotest::ExpectFailure(&g_root, clauses, says);
}

TEST(MacroTokens, TheLastTokenTakesTheRest) {
  using v = std::vector<std::string>;
  EXPECT_EQ(macro::Tokenise("  a b\t c  d e \n", 3), (v{"a", "b", "c  d e"}));
  EXPECT_EQ(macro::Tokenise("a  b", 16), (v{"a", "b"}));
  EXPECT_EQ(macro::Tokenise(" \n\t", 4), v{});
  EXPECT_EQ(macro::Tokenise("x y", 1), v{"x y"});
}

TEST(MacroLanguage, ClausesReturnOrFail) {
  const struct {
    const char *clauses, *args, *value;
  } returns[] = {
      {"x = 5 ; x += 2 ; return x", "", "7.000000"},
      {"n -= 3 ; n *= 2 ; n /= 4 ; return n", "", "-1.500000"},
      {"s = 0.1 ; s += 0.2 ; return s", "", "0.300000"},  // single precision, printed as 0.3
      {"y = 3 ; if 1 < 0 y /= 0 ; return y", "", "3"},
      {"z = INT(-3.9) ; return z", "", "-3"},
      {"z = sqrt(PI) ; return z", "", "1.772454"},
      {"a = 0.5 ; z = Cos(a) ; return z", "", "0.877583"},
      {"z = int(1e300) ; return z", "", "2147483647"},
      {"if 2 < 3 return yes ; return no", "", "yes"},
      {"if 3 <= 2 return yes ; return no", "", "no"},
      {"x = 2 ; if x == 2.0 return same", "", "same"},
      {"if 3 >= 3 { if 4 > 5 return a ; return b }", "", "b"},
      // A block needs no ";" after its "}"; its own variables vanish, its parents' change.
      {"a = 1 ; { a = 2 ; inner = 3 } b = 4 ; return a inner b", "", "2 inner 4"},
      {"i = 0 ; loop { i += 1 ; if i >= 3 break } ; return i", "", "3.000000"},
      // A break leaves only its own block: the loop around it goes on.
      {"i = 0 ; loop { { break } i += 1 ; if i == 2 return i }", "", "2.000000"},
      // Names compare without regard to case; arguments arrive as argc and argN.
      {"Total = 1 ; TOTAL += arg2 ; return total argc arg1", "x 41", "42.000000 2 x"},
      // A return travels up through every block and stops them all.
      {"loop { { loop { return deep now } } } ; return shallow", "", "deep now"},
      {"return", "", ""},
  };
  for (const auto &r : returns) EXPECT_EQ(RunText(&g_root, r.clauses, r.args).value, r.value) << r.clauses;

  const std::pair<const char *, const char *> failures[] = {
      {"y = 3 ; { y /= 0 } ; return y", "Divide by 0 Error!"},
      {"w = word ; w += 1", "Variable \"w\" is not numerical... (\"word\")."},
      {"w = 1 ; w += word", "Right side of expression is not numerical... (\"word\")."},
      {"w += 1 2", "Calculations require 3 tokens exactly"},
      {"w =", "Assignment requires 3 tokens minimum"},
      {"z = cube(2)", "No built-in function \"cube()\"..."},
      {"z = sin(pie)", "Constant \"pie\" is not numerical..."},
      {"a = b ; z = sin(a)", "Variable \"a\" is not numerical...(value=\"b\")"},
      {"x = 1 ; if x != 3 return yes", "Illegal comparison operator \"!=\"."},
      {"if a < 3 return yes", "Left side of comparison is not numerical..."},
      {"if 1 < 3", "Incomplete condition statement!"},
      {"{ a = 1", "Compound statement missing ending \"}\"..."},
      {"loop { a = 1 ; b = 2", "Loop statement missing ending \"}\"..."},
      {"nobody GetID", "Unable to find object \"nobody\"..."},
      {"!Dance", "Undefined Macro command (!) \"Dance\"."},
      {"!MilliTicksWait -5", "-5 is not a positive integral number."},
      {"!MilliTicksWait 1 2", "MilliTicksWait requires 1 argument exactly."},
      {"!MilliTicksWaitFor", "MilliTicksWaitFor requires 1 argument exactly."},
  };
  for (const auto &[clauses, says] : failures) Fails(clauses, says);
  EXPECT_FALSE(RunText(&g_root, "a = 1 } ; b = 2").ok);
  EXPECT_TRUE(RunText(&g_root, "a = !MilliTicksGet ; !MilliTicksWait 0 ; !MilliTicksWaitFor 0 ; a += 1").ok);
}

TEST(MacroLanguage, LimitsOfVariablesNestingTokensAndClauses) {
  std::string vars;
  for (int i = 1; i <= 64; ++i) vars += "v" + std::to_string(i) + " = " + std::to_string(i) + " ; ";
  EXPECT_TRUE(RunText(&g_root, vars + "return v64").ok);
  Fails(vars + "v65 = 65", "Too many variables. Cannot create \"v65\"...");
  EXPECT_TRUE(RunText(&g_root, vars + "{ v65 = 65 }").ok);  // each block has its own 64
  std::string deep = "a = 1";
  for (int i = 0; i < 100; ++i) deep = "{ " + deep + " }";
  Fails(deep, "nested deeper");
  // Far more tokens than a file may hold: the last one takes the rest and is one word.
  std::string many;
  for (int i = 0; i < 5000; ++i) many += "x = 1 ; ";
  EXPECT_FALSE(RunText(&g_root, many).ok);
  // An endless loop ends at the clause budget.
  std::unique_ptr<macro> endless(macro::FromText(&g_root, "loop { a = 1 }"));
  endless->SetClauseBudget(100);
  std::string value;
  auto stops = [&](const char *why) {
    return std::pair{endless->Run("", value), endless->LastError().find(why) != std::string::npos};
  };
  EXPECT_EQ(stops("Stopped after 100 clauses"), std::pair(false, true));
  volatile std::sig_atomic_t stop = 1;
  endless->SetStopFlag(&stop);
  endless->SetClauseBudget(0);
  EXPECT_EQ(stops("Stopped by the user."), std::pair(false, true));
}

TEST(MacroBuiltins, Dialogs) {
  headless_dialogs &d = HeadlessDialogs();
  const bool quiet = d.quiet, yes = d.answer_yes;
  d.quiet = d.answer_yes = true;
  EXPECT_EQ(RunText(&g_root, "a = !AskUserYesNo Title Go on? ; return a").value, "1");
  EXPECT_EQ(std::pair(d.last_caption, d.last_text), std::pair(std::string("Title"), std::string("Go on?")));
  d.answer_yes = false;
  EXPECT_EQ(RunText(&g_root, "a = !AskUserOkCancel Title Really go on? ; return a").value, "0");
  Fails("!AskUserNoYes Title", "AskUserNoYes requires 2 arguments (minimum).");
  d.quiet = quiet;
  d.answer_yes = yes;
}

TEST(MacroCalls, ArgumentsReturnValuesAndRecursion) {
  fixtures::temp_dir dir;
  const std::string appdir = vemo::AppDir();
  vemo::SetAppDir((dir.path() + "/").c_str());
  macrotest::WriteText(dir.file("add.lvm"), "<lvm> s = arg1 ; s += arg2 ; return s ; s = never");
  macrotest::WriteText(dir.file("self.lvm"), "<LVM>\n depth += 1 ; call self.lvm");
  macrotest::WriteText(dir.file("notag.lvm"), "x = 1 ; return x");
  macrotest::WriteText(dir.file("short.lvm"), "<lvm>\n");
  // The called file's return ends only the call; the caller's variables passed with "$".
  EXPECT_EQ(RunText(&g_root, "b = 3 ; r = call add.lvm 2 $b ; r += 1 ; return r").value, "6.000000");
  EXPECT_EQ(RunText(&g_root, "call " + dir.file("add.lvm") + " 1 1 ; return after").value, "after");
  Fails("call self.lvm ; return depth", "nested deeper");
  Fails("call none.lvm", "Unable to load macro file \"none.lvm\".");
  Fails("call notag.lvm", "Unable to load macro file");
  Fails("call short.lvm", "macro file \"short.lvm\" ain't \"ok\".");
  Fails("call", "Call specified without file argument (2nd arg).");
  vemo::SetAppDir(appdir.c_str());
}

TEST(MacroLog, EveryLineAsWritten) {
  fixtures::temp_dir dir;
  const std::string log = dir.file("debug.log");
  auto o = RunText(&g_root,
                   "// not logged yet ; debug " + log +
                       " ; // a note ; x = 5 ; x += 2 ; if x > 1 { y = sqrt(x) ; z = int(y) ; return x z }");
  EXPECT_TRUE(o.ok);
  EXPECT_EQ(o.value, "7.000000 2");
  const std::string expected =
      "Lumi-Vaxel Macro Debug Log\n"
      "==========================\n\n"
      "log starts at clause 3...\n\n"
      "00004: Comment Clause... skipping...\n"
      "00005: Created Variable \"x\"...\n"
      "       \"5\" is a constant\n"
      "       New Value of variable \"x\" is \"5\".\n"
      "00006: \"2\" is a constant\n"
      "       Variable  \"x\" changed to \"7.000000\"...\n"
      "00007: The value of variable \"x\" is \"7.000000\"...\n"
      "       \"1\" is a constant\n"
      "       Condition TRUE. Interpreting associated clause...\n"
      "       00002: Created Variable \"y\"...\n"
      "              sqrt(x) evaluates to \"2.645751\"...\n"
      "              New Value of variable \"y\" is \"2.645751\".\n"
      "       00003: Created Variable \"z\"...\n"
      "              int(y) converts to the integer \"2\"...\n"
      "              New Value of variable \"z\" is \"2\".\n"
      "       00004: The value of variable \"x\" is \"7.000000\"...\n"
      "              The value of variable \"z\" is \"2\"...\n"
      "              Returning \"7.000000 2\" (from 2 Levels).\n";
  EXPECT_EQ(fixtures::ReadFileText(log), expected);

  RunText(&g_root, "debug " + log + " ; x = 1 ; x /= 0");
  EXPECT_EQ(fixtures::ReadFileText(log).substr(expected.find("00004")),
            "00003: Created Variable \"x\"...\n"
            "       \"1\" is a constant\n"
            "       New Value of variable \"x\" is \"1\".\n"
            "00004: \"0\" is a constant\n"
            "       Divide by 0 Error!\n");
  RunText(&g_root, "debug " + log + " ; i = 0 ; loop { i += 1 ; if i == 2 break } ; return");
  const std::string loop = fixtures::ReadFileText(log);
  EXPECT_NE(loop.find("              Hittin' the brakes...\n"), std::string::npos) << loop;
  // The ";" after the loop's "}" cuts an empty clause of its own.
  EXPECT_NE(loop.find("00006: Returning \"\".\n"), std::string::npos) << loop;
}

}  // namespace
