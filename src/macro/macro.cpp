// The macro interpreter: loading, clause cutting, the clause kinds, variables and the log.
#include "macro/macro.h"

#include <strings.h>
#include <sys/stat.h>

#include <cctype>
#include <chrono>
#include <cmath>
#include <cstdarg>
#include <cstring>
#include <fstream>
#include <new>
#include <sstream>
#include <thread>

#include "core/clock.h"
#include "core/commandline.h"
#include "core/dialogs.h"
#include "core/download.h"
#include "core/saturate.h"
#include "core/settings.h"
#include "core/vemo.h"
#include "engine/clip.h"

namespace {

constexpr const char *kBlockTag = "<lvs>";
constexpr const char *kMacroTag = "<lvm>";
constexpr const char *kBlockFile = "*block*";
// Where the address of the maker's member folder is kept in the settings store.
constexpr const char *kMemberDataset = "Internet";
constexpr const char *kMemberName = "MemberScripts";
// A macro file larger than this is no macro (its tokens would be cut at 1024 anyway).
constexpr size_t kMaxFileBytes = 4u << 20;
constexpr long kDownloadSeconds = 60;

bool IsBlank(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

std::string Vformat(const char *format, va_list args) {
  va_list copy;
  va_copy(copy, args);
  const int n = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  if (n <= 0) return "";
  std::string out(size_t(n) + 1, '\0');
  std::vsnprintf(out.data(), out.size(), format, args);
  out.resize(size_t(n));
  return out;
}

std::string Format(const char *format, ...) __attribute__((format(printf, 1, 2)));
std::string Format(const char *format, ...) {
  va_list args;
  va_start(args, format);
  std::string out = Vformat(format, args);
  va_end(args);
  return out;
}

std::string Cut(std::string s, size_t size) {
  if (s.size() >= size) s.resize(size - 1);
  return s;
}

// The single-precision reading of the calculations and conditions.
bool ReadFloat(const std::string &text, float *v) { return std::sscanf(text.c_str(), "%f", v) == 1; }

bool ReadFile(const std::string &path, std::string &text) {
  struct stat st;
  if (stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode) || size_t(st.st_size) > kMaxFileBytes)
    return false;
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream all;
  all << in.rdbuf();
  text = all.str();
  return true;
}

// The text begins with the tag (any case) followed by white space.
bool HasTag(const std::string &text, const char *tag) {
  const size_t n = std::strlen(tag);
  return text.size() > n && strncasecmp(text.c_str(), tag, n) == 0 && IsBlank(text[n]);
}

bool EndsWith(const std::string &s, const char *tail) {
  const size_t n = std::strlen(tail);
  return s.size() >= n && strcasecmp(s.c_str() + s.size() - n, tail) == 0;
}

std::string Join(const std::string *tokens, int count) {
  std::string out;
  for (int i = 0; i < count; ++i) {
    if (i) out += ' ';
    out += tokens[i];
  }
  return out;
}

// Parses a whole non-negative decimal integer that fits in 32 bits.
bool ReadNonNegative(const std::string &text, uint32_t *v) {
  if (text.empty() || text.size() > 10) return false;
  uint64_t n = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    n = n * 10 + uint64_t(c - '0');
  }
  if (n > UINT32_MAX) return false;
  *v = uint32_t(n);
  return true;
}

struct function {
  const char *name;
  double (*fn)(double);
};
const function kFunctions[] = {
    {"acos", [](double v) { return std::acos(v); }},   {"asin", [](double v) { return std::asin(v); }},
    {"atan", [](double v) { return std::atan(v); }},   {"cos", [](double v) { return std::cos(v); }},
    {"cosh", [](double v) { return std::cosh(v); }},   {"exp", [](double v) { return std::exp(v); }},
    {"fabs", [](double v) { return std::fabs(v); }},   {"log", [](double v) { return std::log(v); }},
    {"log10", [](double v) { return std::log10(v); }}, {"sin", [](double v) { return std::sin(v); }},
    {"sinh", [](double v) { return std::sinh(v); }},   {"tan", [](double v) { return std::tan(v); }},
    {"tanh", [](double v) { return std::tanh(v); }},   {"sqrt", [](double v) { return std::sqrt(v); }},
};

}  // namespace

// ---- Construction ----

macro::macro(UIItem *r, const char *file) {
  init();
  root = r;
  if (file) Load(file);
}

macro::macro(macro *parent, const std::string *body, int count) {
  init();
  root = parent->root;
  parentmacro = parent;
  filename = kBlockFile;
  tokens.reserve(size_t(count) + 2);
  tokens.emplace_back(kBlockTag);
  tokens.emplace_back(";");
  tokens.insert(tokens.end(), body, body + count);
  loaded = ready = true;
}

macro *macro::FromText(UIItem *r, const char *text) {
  macro *m = new (std::nothrow) macro(r, nullptr);
  if (!m) return nullptr;
  m->filename = "*text*";
  m->tokens = Tokenise(text, MACRO_MAX_TOKENS - 2);
  m->tokens.insert(m->tokens.begin(), {kMacroTag, ";"});
  m->loaded = true;
  m->ready = m->tokens.size() >= 3;
  return m;
}

macro::~macro() {
  if (!parentmacro && debugfile) std::fclose(debugfile);
}

void macro::init() {
  vars.reserve(MACRO_MAX_VARIABLES);
  UISetName("macro");
}

std::vector<std::string> macro::Tokenise(const char *text, int max) {
  std::vector<std::string> out;
  if (!text || max <= 0) return out;
  size_t end = std::strlen(text);
  while (end > 0 && IsBlank(text[end - 1])) --end;
  size_t i = 0;
  while (i < end) {
    while (i < end && IsBlank(text[i])) ++i;
    if (i >= end) break;
    if (int(out.size()) == max - 1) {  // the last token deliberately takes the rest
      out.emplace_back(text + i, end - i);
      break;
    }
    size_t j = i;
    while (j < end && !IsBlank(text[j])) ++j;
    out.emplace_back(text + i, j - i);
    i = j;
  }
  return out;
}

// A member script: the file in the application folder (or at its absolute path) when it is a
// macro file; else its ".lvs" cache; else the script fetched from the member folder on the web,
// kept at the local path and copied to the cache.
bool macro::Load(const char *file) {
  filename = file;
  if (!EndsWith(filename, ".lvm")) return false;
  std::string local = filename;
  if (local[0] != PATH_SEPARATOR) {
    std::string dir = vemo::AppDir();
    if (!dir.empty() && dir.back() != PATH_SEPARATOR) dir += PATH_SEPARATOR;
    local = dir + local;
  }
  const std::string cache = local.substr(0, local.size() - 4) + ".lvs";
  std::string text;
  const char *tag = nullptr;
  if (ReadFile(local, text) && HasTag(text, kMacroTag)) {
    tag = kMacroTag;
  } else if (ReadFile(cache, text) && HasTag(text, kBlockTag)) {
    tag = kBlockTag;
  } else {
    struct stat st;
    char base[MACRO_VALUE_SIZE] = "";
    // Never fetched over a file that is there (it may be the user's own), nor by absolute path.
    if (filename[0] == PATH_SEPARATOR || stat(local.c_str(), &st) == 0 ||
        vemo::GetDatasetValue(kMemberDataset, kMemberName, base, sizeof base) <= 0)
      return false;
    std::string url = base;
    if (url.back() != '/') url += '/';
    for (char c : filename) url += c == '\\' ? '/' : c;
    if (!DownloadToFile(url, local, kDownloadSeconds)) return false;
    if (!ReadFile(local, text) || !HasTag(text, kBlockTag)) {
      std::remove(local.c_str());
      return false;
    }
    settings::WriteFileAtomically(cache, text);
    tag = kBlockTag;
  }
  loaded = true;
  tokens = Tokenise(text.c_str(), MACRO_MAX_TOKENS - 1);
  tokens[0] = tag;
  tokens.insert(tokens.begin() + 1, ";");
  ready = tokens.size() >= 3;
  return ready;
}

// ---- Chain ----

macro *macro::Top() {
  macro *m = this;
  while (m->parentmacro) m = m->parentmacro;
  return m;
}

int macro::Depth() const {
  int d = 0;
  for (const macro *m = parentmacro; m; m = m->parentmacro) ++d;
  return d;
}

// ---- Log and failures ----

FILE *macro::LogFile() { return Top()->debugfile; }

bool macro::SetDebugFile(const char *file) {
  if (parentmacro) return false;  // sub-macros write to their top's log
  if (debugfile) std::fclose(debugfile);
  debugfile = std::fopen(file, "w");
  if (!debugfile) return false;
  std::fputs("Lumi-Vaxel Macro Debug Log\n", debugfile);
  std::fputs("==========================\n\n", debugfile);
  std::fprintf(debugfile, "log starts at clause %d...\n\n", clause);
  lastlogged = -1;
  return true;
}

void macro::PutLogLine(const char *text) {
  FILE *f = LogFile();
  if (!f) return;
  const std::string indent(size_t(7 * Depth()), ' ');
  if (lastlogged != clause) {
    std::fprintf(f, "%s%05d: %s\n", indent.c_str(), clause, text);
    lastlogged = clause;
  } else {
    std::fprintf(f, "%s%s%s\n", indent.c_str(), "       ", text);
  }
  std::fflush(f);
}

void macro::Log(const char *format, ...) {
  if (!LogFile()) return;
  va_list args;
  va_start(args, format);
  const std::string line = Vformat(format, args);
  va_end(args);
  PutLogLine(line.c_str());
}

bool macro::Fail(const char *format, ...) {
  va_list args;
  va_start(args, format);
  const std::string text = Vformat(format, args);
  va_end(args);
  PutLogLine(text.c_str());
  std::string &error = Top()->lasterror;
  if (error.empty()) {
    std::string where = Cut(Join(tokens.data() + clausestart, clauseend - clausestart), 61);
    if (where.size() == 60) where += "...";
    error = Format("clause %d (%s): %s", clause, where.c_str(), text.c_str());
  }
  return false;
}

bool macro::StopRequested() {
  const macro *top = Top();
  return top->stopflag && *top->stopflag;
}

bool macro::Stopped() {
  macro *top = Top();
  ++top->clausesrun;
  if (top->budget > 0 && top->clausesrun > top->budget)
    return !Fail("Stopped after %ld clauses (the clause budget).", top->budget);
  if (StopRequested()) return !Fail("Stopped by the user.");
  return false;
}

// ---- Running ----

bool macro::Run(const char *arguments, char *result) {
  std::string out;
  const bool ok = Run(arguments, out);
  if (result) std::snprintf(result, MACRO_VALUE_SIZE, "%s", out.c_str());
  return ok;
}

bool macro::Run(const char *arguments, std::string &result) {
  running = true;
  returned = false;
  returnvalue.clear();
  if (!parentmacro) {
    lasterror.clear();
    clausesrun = 0;
  }
  const std::vector<std::string> args = Tokenise(arguments, MACRO_MAX_ARGUMENTS);
  bool ok = ready;
  if (ok && !args.empty()) {
    std::string count = std::to_string(args.size());
    ok = SetVariable("argc", count.c_str());
    for (size_t i = 0; ok && i < args.size(); ++i)
      ok = SetVariable(("arg" + std::to_string(i + 1)).c_str(), args[i].c_str());
  }
  const size_t n = tokens.size();
  size_t pos = 0;
  while (ok && running && !returned) {
    if (pos >= n) {
      if (!loop) break;
      pos = 0;  // a loop starts again at its first clause
    }
    // A clause runs to the next ";" at depth 0, or ends with the "}" that closes its block.
    const size_t start = pos;
    size_t end = pos;
    int depth = 0;
    bool closed = false;
    for (; end < n; ++end) {
      const std::string &t = tokens[end];
      if (depth == 0 && t == ";") break;
      if (t == "{") {
        ++depth;
      } else if (t == "}" && --depth == 0) {
        ++end;
        closed = true;
        break;
      }
    }
    pos = closed ? end : end + 1;
    ++clause;
    clausestart = start;
    clauseend = end;
    if (Stopped()) {
      ok = false;
      break;
    }
    const int count = int(end - start);
    if (count == 0 || strcasecmp(tokens[start].c_str(), tokens[0].c_str()) == 0) continue;
    if (tokens[start] == "debug" && count <= 2) {
      SetDebugFile(count == 2 ? tokens[start + 1].c_str() : "lvdbg.log");
      continue;
    }
    ok = InterpretClause(&tokens[start], count);
  }
  if (!parentmacro && ok) lasterror.clear();
  result = returnvalue;
  return ok;
}

bool macro::InterpretClause(const std::string *t, int n) {
  if (n <= 0) return true;
  if (t[0] == "//") {
    Log("Comment Clause... skipping...");
    return true;
  }
  if (n >= 2 && t[1] == "=") {
    if (n < 3) return Fail("Assignment requires 3 tokens minimum");
    macro_var *var = nullptr;
    if (!FindVariable(t[0].c_str(), &var) && !CreateVariable(t[0].c_str(), &var)) return false;
    std::string value;
    bool ok;
    if (!t[2].empty() && t[2][0] == '!')
      ok = CommandInterpreter(t + 2, n - 2, value);
    else if (n == 3)
      ok = InterpretToken(t[2], value);
    else if (t[2] == "call")
      ok = CallMacro(t + 2, n - 2, value);
    else
      ok = CommandObject(t + 2, n - 2, value);
    if (!ok) return false;
    var->value = Cut(value, MACRO_VALUE_SIZE);
    Log("New Value of variable \"%s\" is \"%s\".", t[0].c_str(), var->value.c_str());
    return true;
  }
  if (n >= 2 && (t[1] == "+=" || t[1] == "-=" || t[1] == "*=" || t[1] == "/="))
    return InterpretCalculation(t, n);
  if (t[0] == "if") return InterpretCondition(t, n);
  if (t[0] == "{") return InterpretBlock(t, n, false);
  if (t[0] == "loop" && n >= 2 && t[1] == "{") return InterpretBlock(t, n, true);
  if (t[0] == "break") {
    Log("Hittin' the brakes...");
    Break();
    return true;
  }
  if (t[0] == "return") return InterpretReturn(t, n);
  std::string out;
  if (t[0] == "call") return CallMacro(t, n, out);
  if (!t[0].empty() && t[0][0] == '!') return CommandInterpreter(t, n, out);
  return CommandObject(t, n, out);
}

bool macro::InterpretCalculation(const std::string *t, int n) {
  if (n != 3) return Fail("Calculations require 3 tokens exactly");
  macro_var *var = nullptr;
  if (!FindVariable(t[0].c_str(), &var)) {
    if (!CreateVariable(t[0].c_str(), &var)) return false;
    var->value = "0";
  }
  float left = 0, right = 0;
  if (!ReadFloat(var->value, &left))
    return Fail("Variable \"%s\" is not numerical... (\"%s\").", t[0].c_str(), var->value.c_str());
  std::string text;
  if (!InterpretToken(t[2], text)) return false;
  if (!ReadFloat(text, &right))
    return Fail("Right side of expression is not numerical... (\"%s\").", text.c_str());
  float v;
  switch (t[1][0]) {
    case '+':
      v = left + right;
      break;
    case '-':
      v = left - right;
      break;
    case '*':
      v = left * right;
      break;
    default:
      if (right == 0) return Fail("Divide by 0 Error!");
      v = left / right;
  }
  const std::string value = Format("%f", double(v));
  return SetVariable(t[0].c_str(), value.c_str());
}

bool macro::InterpretCondition(const std::string *t, int n) {
  if (n < 5) return Fail("Incomplete condition statement!");
  const std::string &op = t[2];
  if (op != "<" && op != ">" && op != "==" && op != ">=" && op != "<=")
    return Fail("Illegal comparison operator \"%s\".", op.c_str());
  std::string a, b;
  if (!InterpretToken(t[1], a) || !InterpretToken(t[3], b)) return false;
  float x = 0, y = 0;
  if (!ReadFloat(a, &x) || !ReadFloat(b, &y)) return Fail("Left side of comparison is not numerical...");
  const bool holds = op == "<"    ? x < y
                     : op == ">"  ? x > y
                     : op == "==" ? x == y
                     : op == ">=" ? x >= y
                                  : x <= y;
  if (!holds) {
    Log("Condition FALSE. associated clause skipped...");
    return true;
  }
  Log("Condition TRUE. Interpreting associated clause...");
  return InterpretClause(t + 4, n - 4);
}

bool macro::InterpretBlock(const std::string *t, int n, bool isloop) {
  const int first = isloop ? 2 : 1;
  if (t[n - 1] != "}" || n <= first)
    return Fail(isloop ? "Loop statement missing ending \"}\"..."
                       : "Compound statement missing ending \"}\"...");
  if (Depth() + 1 >= MACRO_MAX_DEPTH)
    return Fail("Blocks and calls nested deeper than %d levels.", MACRO_MAX_DEPTH);
  macro *sub = new (std::nothrow) macro(this, t + first, n - first - 1);
  if (!sub) return Fail(isloop ? "unable to create loop sub-macro" : "unable to create compound sub-macro");
  if (!sub->ready) {
    delete sub;
    return Fail(isloop ? "loop sub-macro did not initialize properly"
                       : "compound sub-macro did not initialize properly");
  }
  sub->loop = isloop;
  std::string result;
  const bool ok = sub->Run(nullptr, result);
  delete sub;
  return ok;
}

bool macro::InterpretReturn(const std::string *t, int n) {
  if (n == 1) {
    Return("");
    return true;
  }
  const std::vector<std::string> words = Tokenise(Join(t + 1, n - 1).c_str(), MACRO_MAX_RETURN_TOKENS);
  std::string value;
  for (const std::string &w : words) {
    // A word that cannot be interpreted is used as written; its failure is no failure.
    const std::string error = Top()->lasterror;
    std::string v;
    if (!InterpretToken(w, v)) v = w;
    Top()->lasterror = error;
    if (!value.empty()) value += ' ';
    value += v;
  }
  Return(Cut(value, MACRO_VALUE_SIZE).c_str());
  return true;
}

void macro::Return(const char *text) {
  int levels = 0;
  for (macro *m = this; m; m = m->parentmacro) {
    m->returnvalue = text;
    m->returned = true;
    ++levels;
    if (m->called) break;  // a called file's value is the result of its call
  }
  if (levels >= 2)
    Log("Returning \"%s\" (from %d Levels).", text, levels);
  else
    Log("Returning \"%s\".", text);
}

void macro::Break() { running = false; }

// ---- Tokens and variables ----

bool macro::InterpretToken(const std::string &token, std::string &out) {
  const size_t open = token.find('(');
  if (open != std::string::npos && open > 0 && token.size() > open + 1 && token.back() == ')') {
    const std::string name = token.substr(0, open);
    const std::string arg = token.substr(open + 1, token.size() - open - 2);
    double v = 0;
    macro_var *var = nullptr;
    if (FindVariable(arg.c_str(), &var)) {
      if (std::sscanf(var->value.c_str(), "%lf", &v) != 1)
        return Fail("Variable \"%s\" is not numerical...(value=\"%s\")", arg.c_str(), var->value.c_str());
    } else if (std::sscanf(arg.c_str(), "%lf", &v) != 1) {
      if (strcasecmp(arg.c_str(), "PI") != 0) return Fail("Constant \"%s\" is not numerical...", arg.c_str());
      v = 3.141592653589793;
    }
    if (strcasecmp(name.c_str(), "int") == 0) {
      // Truncation toward zero, held within the integer range.
      const int i = SaturateToInt(v);
      out = std::to_string(i);
      Log("%s converts to the integer \"%d\"...", token.c_str(), i);
      return true;
    }
    for (const function &f : kFunctions)
      if (strcasecmp(name.c_str(), f.name) == 0) {
        out = Format("%f", f.fn(v));
        Log("%s evaluates to \"%s\"...", token.c_str(), out.c_str());
        return true;
      }
    return Fail("No built-in function \"%s()\"...", name.c_str());
  }
  macro_var *var = nullptr;
  if (FindVariable(token.c_str(), &var)) {
    out = var->value;
    Log("The value of variable \"%s\" is \"%s\"...", token.c_str(), out.c_str());
  } else {
    out = token;
    Log("\"%s\" is a constant", token.c_str());
  }
  return true;
}

bool macro::FindVariable(const char *name, macro_var **var) {
  const std::string key = Cut(name, MACRO_NAME_SIZE);
  for (macro *m = this; m; m = m->parentmacro)
    for (macro_var &v : m->vars)
      if (strcasecmp(v.name.c_str(), key.c_str()) == 0) {
        *var = &v;
        return true;
      }
  return false;
}

bool macro::CreateVariable(const char *name, macro_var **var) {
  if (vars.size() >= size_t(MACRO_MAX_VARIABLES))
    return Fail("Too many variables. Cannot create \"%s\"...", name);
  vars.push_back(macro_var{Cut(name, MACRO_NAME_SIZE), ""});
  Log("Created Variable \"%s\"...", name);
  *var = &vars.back();  // the reserved room never moves
  return true;
}

bool macro::CreateVariable(const char *name) {
  macro_var *var = nullptr;
  return CreateVariable(name, &var);
}

bool macro::GetVariable(const char *name, std::string &value) {
  macro_var *var = nullptr;
  if (!FindVariable(name, &var)) return false;
  value = var->value;
  return true;
}

bool macro::GetVariable(const char *name, double *value) {
  std::string text;
  return GetVariable(name, text) && std::sscanf(text.c_str(), "%lf", value) == 1;
}

bool macro::SetVariable(const char *name, const char *value) {
  macro_var *var = nullptr;
  if (!FindVariable(name, &var) && !CreateVariable(name, &var)) return false;
  var->value = Cut(value, MACRO_VALUE_SIZE);
  Log("Variable  \"%s\" changed to \"%s\"...", name, var->value.c_str());
  return true;
}

bool macro::SetVariable(const char *name, double *value) {
  const std::string text = Format("%f", *value);
  return SetVariable(name, text.c_str());
}

std::string macro::Substitute(const std::string &word) {
  if (word.find('$') == std::string::npos) return word;
  std::string out;
  for (size_t i = 0; i < word.size();) {
    size_t j = i + 1;
    while (word[i] == '$' && j < word.size() &&
           (std::isalnum(static_cast<unsigned char>(word[j])) || word[j] == '_'))
      ++j;
    macro_var *var = nullptr;
    if (j > i + 1 && FindVariable(word.substr(i + 1, j - i - 1).c_str(), &var)) {
      out += var->value;
      i = j;
    } else {
      out += word[i++];
    }
  }
  bool blank = false;
  for (char c : out) blank = blank || IsBlank(c);
  return blank && out.front() != '"' ? "\"" + out + "\"" : out;
}

std::string macro::JoinSubstituted(const std::string *t, int count) {
  std::string out;
  for (int i = 0; i < count; ++i) {
    if (i) out += ' ';
    out += Substitute(t[i]);
  }
  return out;
}

// ---- Built-in commands, calls and objects ----

bool macro::CommandInterpreter(const std::string *t, int n, std::string &out) {
  const std::string name = t[0].substr(1);
  bool known = false;
  const bool ok = CommandInterpreter_MilliTicks(t, n, out, &known);
  if (known) return ok;
  const bool asked = CommandInterpreter_AskUser(t, n, out, &known);
  if (known) return asked;
  return Fail("Undefined Macro command (!) \"%s\".", name.c_str());
}

bool macro::CommandInterpreter_MilliTicks(const std::string *t, int n, std::string &out, bool *known) {
  const std::string name = t[0].substr(1);
  *known = true;
  if (name == "MilliTicksGet") {
    out = std::to_string(int32_t(TickCount()));
    return true;
  }
  const bool waitfor = name == "MilliTicksWaitFor";
  if (!waitfor && name != "MilliTicksWait") {
    *known = false;
    return false;
  }
  if (n != 2)
    return Fail(waitfor ? "MilliTicksWaitFor requires 1 argument exactly."
                        : "MilliTicksWait requires 1 argument exactly.");
  uint32_t v = 0;
  if (!ReadNonNegative(t[1], &v)) return Fail("%s is not a positive integral number.", t[1].c_str());
  const uint32_t until = waitfor ? v : TickCount() + v;
  while (int32_t(TickCount() - until) < 0) {
    if (StopRequested()) return Fail("Stopped by the user.");
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  out.clear();
  return true;
}

bool macro::CommandInterpreter_AskUser(const std::string *t, int n, std::string &out, bool *known) {
  const std::string name = t[0].substr(1);
  *known = true;
  boxbuttons buttons;
  if (name == "AskUserNoYes" || name == "AskUserYesNo")
    buttons = boxbuttons::yesno;
  else if (name == "AskUserCancelOk" || name == "AskUserOkCancel")
    buttons = boxbuttons::okcancel;
  else {
    *known = false;
    return false;
  }
  if (n < 3) return Fail("%s requires 2 arguments (minimum).", name.c_str());
  // The first argument is the caption, the rest the question.
  const std::string text = Join(t + 2, n - 2);
  const int answer = Dialogs().MessageBox(nullptr, text.c_str(), t[1].c_str(), buttons, boxicon::question);
  if (answer == IDYES || answer == IDOK)
    out = "1";
  else if (answer == IDNO || answer == IDCANCEL)
    out = "0";
  else
    return Fail("User dialog returned bogus value");
  return true;
}

bool macro::CallMacro(const std::string *t, int n, std::string &out) {
  if (n < 2) return Fail("Call specified without file argument (2nd arg).");
  if (Depth() + 1 >= MACRO_MAX_DEPTH)
    return Fail("Blocks and calls nested deeper than %d levels.", MACRO_MAX_DEPTH);
  const std::string file = Substitute(t[1]);
  macro *m = new (std::nothrow) macro(root, file.c_str());
  if (!m || !m->loaded) {
    delete m;
    return Fail("Unable to load macro file \"%s\".", file.c_str());
  }
  if (!m->ready) {
    delete m;
    return Fail("macro file \"%s\" ain't \"ok\".", file.c_str());
  }
  m->parentmacro = this;
  m->called = true;
  const std::string args = JoinSubstituted(t + 2, n - 2);
  const bool ok = m->Run(args.c_str(), out);
  delete m;
  return ok;
}

bool macro::CommandObject(const std::string *t, int n, std::string &out) {
  const std::string name = Substitute(t[0]);
  UIItem *object = root ? root->UIItemResolve(name.c_str()) : nullptr;
  if (!object) return Fail("Unable to find object \"%s\"...", name.c_str());
  const std::string command = JoinSubstituted(t + 1, n - 1);
  Log("Commanding object \"%s\" to \"%s\".", name.c_str(), command.c_str());
  char answer[MACRO_VALUE_SIZE] = "";
  if (!EditCommand(object, command.c_str(), answer)) {
    Log("Failure of command \"%s\"...", command.c_str());
    std::string &error = Top()->lasterror;
    if (error.empty())
      error = Format("clause %d: %s %s failed%s%s", clause, name.c_str(), command.c_str(),
                     answer[0] ? ": " : "", answer);
    return false;
  }
  answer[sizeof answer - 1] = 0;
  Log("Object command returned \"%s\".", answer);
  out = answer;
  return true;
}

bool macro::Command(const char *command, char *result) {
  const auto args = SplitCommandLine(command, 64);
  if (result && args.size() == 1 && args[0] == "GetFileName") {
    std::snprintf(result, UIITEM_RESULT_SIZE, "%s", filename.c_str());
    return true;
  }
  if (result && args.size() == 1 && args[0] == "GetType") {
    std::snprintf(result, UIITEM_RESULT_SIZE, "macro");
    return true;
  }
  return UIItem::Command(command, result);
}
