// `lumivaxel make PROJECT.vmp -o OUT`: the make range through an export plugin, with progress on
// stderr and Ctrl-C stopping between frames.
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "app/cli.h"
#include "app/commands.h"
#include "core/dialogs.h"
#include "engine/joining.h"
#include "engine/parallelmaking.h"
#include "engine/project.h"
#include "media/plugins.h"
#include "media/surface.h"

namespace {

volatile std::sig_atomic_t g_interrupted = 0;

void OnInterrupt(int) { g_interrupted = 1; }

// Progress on stderr: a bar redrawn in place on a terminal, a line every 10 % otherwise.
class progress {
 public:
  progress() : terminal(isatty(STDERR_FILENO) != 0), begin(std::chrono::steady_clock::now()) {}
  void Frame(int done, int count) {
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    const double fps = seconds > 0 ? done / seconds : 0;
    const double left = fps > 0 ? (count - done) / fps : 0;
    if (terminal) {
      constexpr int kWidth = 30;
      const int filled = count ? int(int64_t(done) * kWidth / count) : kWidth;
      std::fprintf(stderr, "\r[%s%s] %d/%d frames  %.1f fps  %.0f s left ", std::string(size_t(filled), '#').c_str(),
                   std::string(size_t(kWidth - filled), ' ').c_str(), done, count, fps, left);
      if (done == count) std::fputc('\n', stderr);
    } else {
      const int tenth = count ? int(int64_t(done) * 10 / count) : 10;
      if (tenth > lasttenth || done == count) {
        lasttenth = tenth;
        std::fprintf(stderr, "make: %d/%d frames (%d%%), %.1f fps\n", done, count, count ? int(int64_t(done) * 100 / count) : 100,
                     fps);
      }
    }
    std::fflush(stderr);
  }
  bool terminal;

 private:
  std::chrono::steady_clock::time_point begin;
  int lasttenth = 0;
};

// "A:B" with 0 <= A < B.
bool ParseFrames(const std::string &text, int *first, int *last) {
  int used = 0;
  return std::sscanf(text.c_str(), "%d:%d%n", first, last, &used) == 2 && size_t(used) == text.size() && *first >= 0 &&
         *last > *first;
}

}  // namespace

int CmdMake(int argc, char **argv, int first) {
  cli::grammar g;
  g.valued = {"--output", "--format", "--from", "--to", "--option", "--frames", "--threads"};
  g.switches = {"--yes", "--verbose", "--help"};
  g.aliases = {{"-o", "--output"}, {"-y", "--yes"}, {"-h", "--help"}, {"-f", "--format"}};
  cli::arguments args;
  std::string error;
  if (!cli::Parse(argc, argv, first, g, args, &error)) return cli::Fail(error + " (see lumivaxel make --help)");
  if (args.Has("--help")) {
    PrintUsage("make");
    return 0;
  }
  if (args.positional.size() != 1) return cli::Fail("make needs one project file (see lumivaxel make --help)");
  if (!args.Has("--output")) return cli::Fail("make needs -o OUT (such as out.avi or out.mp4)");
  int from = 0, to = 0;
  if (args.Has("--from") && !cli::SecondsToMs(args.Get("--from"), &from)) return cli::Fail("--from takes seconds, such as 2.5");
  if (args.Has("--to") && !cli::SecondsToMs(args.Get("--to"), &to)) return cli::Fail("--to takes seconds, such as 2.5");

  vemoproject p;
  if (!OpenProject(p, args.positional[0], args)) return 1;
  pluginlists &plugins = p.Surfaces()->Plugins();
  const std::string output = args.Get("--output");
  KORPlugin *plugin = args.Has("--format") ? plugins.FindExport(args.Get("--format").c_str())
                                           : plugins.FindExportForFile(output.c_str());
  if (!plugin || !plugin->object) {
    if (args.Has("--format"))
      return cli::Fail("no export plugin called " + args.Get("--format") + " (see lumivaxel plugins)");
    return cli::Fail("no export plugin writes files like " + output + " (name one with --format; see lumivaxel plugins)");
  }
  imgio_export *out = plugin->object;
  if (args.Has("--option")) {
    const std::string o = args.Get("--option");
    const size_t eq = o.find('=');
    if (eq == std::string::npos || !out->SetOption(o.substr(0, eq).c_str(), o.substr(eq + 1).c_str()))
      return cli::Fail("the plugin does not take the option " + o + " (it takes: " + out->GetOptionsText() + ")");
  }

  clip *root = p.Root();
  const int start = args.Has("--from") ? from : root->GetMakeStart();
  const int end = args.Has("--to") ? to : p.Length();
  if (end < start) return cli::Fail("--to lies before --from");
  // The maker takes whole frames only: a shorter range would write a file without any.
  if (int64_t(root->GetFps()) * (end - start) < 1000) {
    char why[160];
    std::snprintf(why, sizeof why, "nothing to make: %.3f s to %.3f s is shorter than one frame at %d fps", start / 1000.0,
                  end / 1000.0, root->GetFps());
    return cli::Fail(why);
  }
  root->SetMakeRange(start, end);
  int firstframe = 0, lastframe = -1;
  if (args.Has("--frames")) {
    // A segment: frames A up to B of the range, tagged with its place for joining.
    const int count = clip::MakeFrameCount(root->GetFps(), end - start);
    makesegment s{0, 0, count, root->GetFps(), start, end - start};
    if (!ParseFrames(args.Get("--frames"), &s.first, &s.last))
      return cli::Fail("--frames takes A:B, the frames from A up to B (such as 0:250)");
    if (s.last > count)
      return cli::Fail("--frames " + args.Get("--frames") + " reaches past the " + std::to_string(count) +
                       " frames of the make range");
    root->SetMakeFrames(s.first, s.last);
    firstframe = s.first;
    lastframe = s.last;
    out->SetComment(SegmentTag(s).c_str());
  }
  if (!out->CanEncode(root->CheckAudio(), root->CheckVideo()))
    return cli::Fail(std::string(plugin->filename) + " cannot write what this project holds");

  // Frames are composed ahead on copies of the project, one per thread (all cores unless told).
  long threads = long(std::thread::hardware_concurrency());
  if (args.Has("--threads")) {
    const std::string n = args.Get("--threads");
    char *end = nullptr;
    threads = std::strtol(n.c_str(), &end, 10);
    if (n.empty() || *end || threads < 1 || threads > 256) return cli::Fail("--threads takes a whole number from 1 to 256");
  }
  // The plugin may convert and code pictures on as many (a plugin that has no such option
  // refuses it and works as ever).
  out->SetOption("threads", std::to_string(threads).c_str());
  const std::unique_ptr<parallelmaking> composers = parallelmaking::Start(root, args.positional[0], int(threads), firstframe,
                                                                                     lastframe);

  HeadlessDialogs().file_answer = output;
  progress bar;
  g_interrupted = 0;
  struct sigaction sa {}, old{};
  sa.sa_handler = OnInterrupt;
  sigemptyset(&sa.sa_mask);
  sigaction(SIGINT, &sa, &old);
  root->SetMessagePump([root] {
    if (g_interrupted && !root->IsStopPending()) root->Stop();
  });
  root->SetMakeProgress([&bar](int done, int count) { bar.Frame(done, count); });
  // A failure is reported below in one line, so the engine's own message box stays silent.
  HeadlessDialogs().quiet = true;
  const int result = root->StartMaking(out);
  HeadlessDialogs().quiet = false;
  sigaction(SIGINT, &old, nullptr);
  root->SetMessagePump(nullptr);
  root->SetMakeProgress(nullptr);

  char made[imgio::kTextSize] = "";
  out->GetFileName(made, sizeof made);
  if (result == 128) {
    if (bar.terminal) std::fputc('\n', stderr);
    return cli::Fail(std::string("interrupted: the frames made so far are in ") + made);
  }
  if (result != 1) {
    char why[imgio::kTextSize] = "";
    out->GetLastError(why, sizeof why);
    return cli::Fail(std::string("making ") + (made[0] ? made : output.c_str()) + " failed" + (why[0] ? std::string(": ") + why : ""));
  }
  std::printf("%s\n", made);
  return 0;
}

int CmdPlugins(int argc, char **argv, int first) {
  cli::grammar g;
  g.switches = {"--help"};
  g.aliases = {{"-h", "--help"}};
  cli::arguments args;
  std::string error;
  if (!cli::Parse(argc, argv, first, g, args, &error)) return cli::Fail(error + " (see lumivaxel plugins --help)");
  if (args.Has("--help")) {
    PrintUsage("plugins");
    return 0;
  }
  if (!args.positional.empty()) return cli::Fail("plugins takes no arguments");
  vemoproject p;
  const pluginlists &pl = p.Surfaces()->Plugins();
  std::printf("export plugins:\n");
  if (!pl.ExportCount()) std::printf("  (none found; set LUMIVAXEL_PLUGIN_PATH)\n");
  for (int i = 0; i < pl.ExportCount(); ++i) {
    imgio_export *e = pl.Exports()[i].object;
    if (!e) continue;
    std::printf("  %-16s %s\n", pl.Exports()[i].filename, e->GetDescription());
    std::printf("  %-16s files %s, writes%s%s; options: %s\n", "", e->GetFileTypes(),
                e->CanEncode(false, true) ? " video" : "", e->CanEncode(true, false) ? " audio" : "",
                e->GetOptionsText()[0] ? e->GetOptionsText() : "none");
  }
  std::printf("effect plugins:\n");
  if (!pl.VideoEffectCount() && !pl.AudioEffectCount()) std::printf("  (none found)\n");
  for (int i = 0; i < pl.VideoEffectCount(); ++i)
    std::printf("  %-16s video effect: %s\n", pl.VideoEffects()[i].filename, pl.VideoEffects()[i].description);
  for (int i = 0; i < pl.AudioEffectCount(); ++i)
    std::printf("  %-16s audio effect: %s\n", pl.AudioEffects()[i].filename, pl.AudioEffects()[i].description);
  return 0;
}
