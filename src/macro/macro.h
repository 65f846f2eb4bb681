// macro: the interpreter of the macro language, small text programs that drive named objects.
//
// Common principles of this header:
// - A macro is a list of whitespace-separated tokens cut into clauses at ";" (at brace depth
//   0; a block ends its clause at its closing "}"). Values are text; numbers are text that
//   reads as a number.
// - Token 0 is the header tag and token 1 a ";", so the header is a clause of its own. Blocks
//   ("{ ... }", "loop { ... }") and called files run as sub-macros: they see and change their
//   parents' variables, their own new variables vanish with them, and they share the
//   top-level macro's debug log, clause budget and stop request.
// - Every failure makes the clause and the run report false; the first failure's text is kept
//   for the host (LastError) and, when a log is open, written to the log.
// - Nothing is formatted for the log while no log is open.
#pragma once

#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

#include "core/uiitem.h"

// Limits of the language.
constexpr int MACRO_MAX_TOKENS = 1024;       // tokens of a file
constexpr int MACRO_MAX_ARGUMENTS = 16;      // tokens of the arguments of Run
constexpr int MACRO_MAX_RETURN_TOKENS = 64;  // tokens of a return value
constexpr int MACRO_MAX_VARIABLES = 64;      // variables per macro
constexpr int MACRO_NAME_SIZE = 256;         // a variable's name, with its terminating zero
constexpr int MACRO_VALUE_SIZE = 4096;       // a variable's value, with its terminating zero
constexpr int MACRO_MAX_DEPTH = 64;          // nested blocks and calls

// One variable: name and value.
struct macro_var {
  std::string name;
  std::string value;
};

class macro : public UIItem {
 public:
  // A macro from a file named NAME.lvm (see Load in macro.cpp for where it is looked for: the
  // application folder, its ".lvs" cache, the member folder on the web). Usable only when
  // IsReady(): the file had the right tag and at least three tokens.
  macro(UIItem *root, const char *file);
  // A macro from clauses given as text (the command line, tests): the tag "<lvm>" and ";" are
  // put before them. Ready when the text holds at least one token.
  static macro *FromText(UIItem *root, const char *text);
  ~macro() override;
  macro(const macro &) = delete;
  macro &operator=(const macro &) = delete;

  bool IsReady() const { return ready; }
  const char *GetFileName() const { return filename.c_str(); }

  // Runs the clauses with the arguments (at most 16 tokens, the last taking the rest); they
  // become the variables argc and arg1 ... argN when there are any. `result` receives the
  // return value. False when a clause failed.
  bool Run(const char *arguments, std::string &result);
  // The same with a result buffer of MACRO_VALUE_SIZE bytes.
  bool Run(const char *arguments, char *result);

  // ---- Host controls (set on the top-level macro; sub-macros use their top's) ----
  // Stops the run with a failure once `n` clauses were cut (0: no limit).
  void SetClauseBudget(long n) { budget = n; }
  // Stops the run with a failure between two clauses (and in waits) once *flag is non-zero.
  void SetStopFlag(const volatile std::sig_atomic_t *flag) { stopflag = flag; }
  // "clause N: message" of the first failure of the last run; empty after a clean run.
  const std::string &LastError() const { return lasterror; }

  // Splits text into whitespace-separated tokens after cutting its trailing white space; when
  // `max` tokens are reached the last one takes the whole rest of the text.
  static std::vector<std::string> Tokenise(const char *text, int max);

  // Commands of the macro itself: GetType ("macro"), GetFileName.
  bool Command(const char *command, char *result) override;

 private:
  // A sub-macro of a block: tokens "<lvs>", ";", then the given ones.
  macro(macro *parent, const std::string *tokens, int count);
  macro *Top();
  int Depth() const;

  void init();
  bool Load(const char *file);
  bool SetDebugFile(const char *file);
  FILE *LogFile();
  void PutLogLine(const char *text);
  // Formats and writes a log line only when a log is open.
  void Log(const char *format, ...) __attribute__((format(printf, 2, 3)));
  // Formats the failure (kept for the host when it is the first one) and logs it; false.
  bool Fail(const char *format, ...) __attribute__((format(printf, 2, 3)));
  void Return(const char *text);
  void Break();

  bool FindVariable(const char *name, macro_var **var);
  bool CreateVariable(const char *name, macro_var **var);
  bool CreateVariable(const char *name);
  bool GetVariable(const char *name, std::string &value);
  bool GetVariable(const char *name, double *value);
  bool SetVariable(const char *name, const char *value);
  bool SetVariable(const char *name, double *value);
  // "$name" in a word becomes the value of that variable (when it exists); a value with blanks
  // is quoted so that the object reads it as one word.
  std::string Substitute(const std::string &word);
  std::string JoinSubstituted(const std::string *tokens, int count);

  bool InterpretToken(const std::string &token, std::string &out);
  bool InterpretClause(const std::string *tokens, int count);
  bool InterpretBlock(const std::string *tokens, int count, bool loop);
  bool InterpretCalculation(const std::string *tokens, int count);
  bool InterpretCondition(const std::string *tokens, int count);
  bool InterpretReturn(const std::string *tokens, int count);
  bool CommandInterpreter(const std::string *tokens, int count, std::string &out);
  bool CommandInterpreter_AskUser(const std::string *tokens, int count, std::string &out, bool *known);
  bool CommandInterpreter_MilliTicks(const std::string *tokens, int count, std::string &out, bool *known);
  bool CallMacro(const std::string *tokens, int count, std::string &out);
  bool CommandObject(const std::string *tokens, int count, std::string &out);
  // Counts the clause against the budget; true (after a failure) when the run must stop.
  bool Stopped();
  bool StopRequested();

  UIItem *root = nullptr;
  std::vector<std::string> tokens;
  macro *parentmacro = nullptr;
  bool called = false;  // a called file: a return ends here and goes no further up
  std::string filename;
  std::vector<macro_var> vars;
  bool ready = false;
  bool loaded = false;  // the file could be read at all
  bool running = false;
  bool loop = false;
  bool returned = false;
  std::string returnvalue;
  FILE *debugfile = nullptr;  // only the top-level macro's
  int clause = 0;
  int lastlogged = -1;
  size_t clausestart = 0;  // the tokens of the current clause, for the failure text
  size_t clauseend = 0;

  // Kept by the top-level macro.
  long budget = 0;
  long clausesrun = 0;
  const volatile std::sig_atomic_t *stopflag = nullptr;
  std::string lasterror;
};
