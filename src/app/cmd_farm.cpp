// `lumivaxel farm PROJECT.vmp -o OUT --segments N`: the make cut into segments on the whole
// make's frame grid, a Slurm job array that makes one segment per task and a job that joins
// them once every task has succeeded. Slurm schedules; this command only writes and submits
// the two batch scripts, and `--status` summarises the array's tasks.
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "app/cli.h"
#include "app/commands.h"
#include "engine/joining.h"
#include "engine/project.h"
#include "media/plugins.h"
#include "media/surface.h"

namespace {

// Runs a program with its output captured and its complaints dropped (the caller says what
// failed); its exit status, or -1 when it could not start.
int Run(const std::vector<std::string> &argv, std::string *output) {
  int fds[2];
  if (pipe(fds) != 0) return -1;
  const pid_t pid = fork();
  if (pid < 0) {
    close(fds[0]);
    close(fds[1]);
    return -1;
  }
  if (pid == 0) {
    dup2(fds[1], STDOUT_FILENO);
    const int null = open("/dev/null", O_WRONLY);
    if (null >= 0) dup2(null, STDERR_FILENO);
    close(fds[0]);
    close(fds[1]);
    std::vector<char *> args;
    for (const std::string &a : argv) args.push_back(const_cast<char *>(a.c_str()));
    args.push_back(nullptr);
    execvp(args[0], args.data());
    _exit(127);
  }
  close(fds[1]);
  char buffer[4096];
  ssize_t n;
  while ((n = read(fds[0], buffer, sizeof buffer)) > 0) output->append(buffer, size_t(n));
  close(fds[0]);
  int status = 0;
  if (waitpid(pid, &status, 0) < 0) return -1;
  return WIFEXITED(status) ? (WEXITSTATUS(status) == 127 ? -1 : WEXITSTATUS(status)) : -1;
}

// A word for a shell script, in single quotes.
std::string Quote(const std::string &word) {
  std::string q = "'";
  for (char c : word) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return q + "'";
}

std::string Absolute(const std::string &path) {
  if (!path.empty() && path[0] == '/') return path;
  char here[PATH_MAX];
  return getcwd(here, sizeof here) ? std::string(here) + "/" + path : path;
}

// The name with the plugin's extension in place of its own, as making names its file.
std::string WithExtension(const std::string &path, std::string ext) {
  if (ext.empty()) return path;
  if (ext[0] != '.') ext = "." + ext;
  const size_t slash = path.rfind('/'), dot = path.rfind('.');
  return (dot != std::string::npos && (slash == std::string::npos || dot > slash) ? path.substr(0, dot)
                                                                                  : path) +
         ext;
}

// Every medium of the tree: false with a line on stderr for one that is missing here.
bool CheckMedia(const clip *c, int *count, int *relative) {
  bool ok = true;
  const char *file = c->GetFileName();
  if (file && file[0]) {
    ++*count;
    struct stat st;
    if (file[0] != '/') {
      ++*relative;
      std::fprintf(stderr, "farm: %s is a relative path; the nodes must find it beside the project\n", file);
    } else if (::stat(file, &st) != 0) {
      std::fprintf(stderr, "lumivaxel: the medium %s does not exist here\n", file);
      ok = false;
    }
  }
  for (int i = 0; i < c->GetChildCount(); ++i) ok = CheckMedia(c->GetChild(i), count, relative) && ok;
  return ok;
}

// The array's tasks by state, from Slurm's accounting or, without it, from the controller.
int Status(const std::string &job) {
  std::map<std::string, int> states;
  std::string out;
  if (Run({"sacct", "-n", "-P", "-X", "-j", job, "--format=JobID,State"}, &out) == 0 && !out.empty()) {
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);) {
      const size_t bar = line.find('|');
      if (bar == std::string::npos) continue;
      std::string state = line.substr(bar + 1);
      state = state.substr(0, state.find(' '));  // "CANCELLED by 0"
      // A pending remainder of the array is one line: "12_[3-7]".
      int tasks = 1;
      const size_t open = line.find('[');
      if (open != std::string::npos && open < bar) {
        int a = 0, b = 0;
        if (std::sscanf(line.c_str() + open, "[%d-%d", &a, &b) == 2 && b >= a) tasks = b - a + 1;
      }
      states[state] += tasks;
    }
  } else {
    out.clear();
    if (Run({"scontrol", "-o", "show", "job", job}, &out) != 0 || out.empty())
      return cli::Fail("Slurm knows no job " + job + " (scontrol and sacct answered nothing)");
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);) {
      std::string state, tasks = "0";
      std::istringstream words(line);
      for (std::string w; words >> w;) {
        if (w.rfind("JobState=", 0) == 0) state = w.substr(9);
        if (w.rfind("ArrayTaskId=", 0) == 0) tasks = w.substr(12);
      }
      // A pending remainder of the array is one record: "ArrayTaskId=3-7" or "1,4-5%2".
      int n = 0;
      std::istringstream parts(tasks.substr(0, tasks.find('%')));
      for (std::string r; std::getline(parts, r, ',');) {
        int a = 0, b = 0;
        n += std::sscanf(r.c_str(), "%d-%d", &a, &b) == 2 && b >= a ? b - a + 1 : 1;
      }
      if (!state.empty()) states[state] += n;
    }
  }
  int total = 0;
  std::string summary;
  for (const auto &[state, n] : states) {
    total += n;
    summary += (summary.empty() ? "" : ", ") + std::to_string(n) + " " + state;
  }
  std::printf("job %s: %d task%s: %s\n", job.c_str(), total, total == 1 ? "" : "s", summary.c_str());
  return 0;
}

}  // namespace

int CmdFarm(int argc, char **argv, int first) {
  cli::grammar g;
  g.valued = {"--output", "--segments", "--format", "--option", "--sbatch-arg", "--status"};
  g.switches = {"--dry-run", "--yes", "--help"};
  g.aliases = {
      {"-o", "--output"}, {"-y", "--yes"}, {"-h", "--help"}, {"-f", "--format"}, {"-n", "--segments"}};
  cli::arguments args;
  std::string error;
  if (!cli::Parse(argc, argv, first, g, args, &error))
    return cli::Fail(error + " (see lumivaxel farm --help)");
  if (args.Has("--help")) {
    PrintUsage("farm");
    return 0;
  }
  if (args.Has("--status")) return Status(args.Get("--status"));
  if (args.positional.size() != 1)
    return cli::Fail("farm needs one project file (see lumivaxel farm --help)");
  if (!args.Has("--output")) return cli::Fail("farm needs -o OUT on a file system every node sees");
  int segments = 0;
  if (std::sscanf(args.Get("--segments").c_str(), "%d", &segments) != 1 || segments < 1)
    return cli::Fail("farm needs --segments N, one or more");

  const std::string projectfile = Absolute(args.positional[0]);
  vemoproject p;
  if (!OpenProject(p, projectfile, args)) return 1;
  clip *root = p.Root();
  const int start = root->GetMakeStart(), length = p.Length() - start;
  const int count = clip::MakeFrameCount(root->GetFps(), length);
  if (count < 1) return cli::Fail("the project's make range holds no frame");
  if (segments > count)
    return cli::Fail("--segments " + std::to_string(segments) + " is more than the " + std::to_string(count) +
                     " frames");

  pluginlists &plugins = p.Surfaces()->Plugins();
  const std::string requested = Absolute(args.Get("--output"));
  KORPlugin *plugin = args.Has("--format") ? plugins.FindExport(args.Get("--format").c_str())
                                           : plugins.FindExportForFile(requested.c_str());
  if (!plugin || !plugin->object)
    return cli::Fail("no export plugin for " + requested + " (see lumivaxel plugins)");
  if (args.Has("--option")) {  // refused here rather than in every task
    const std::string o = args.Get("--option");
    const size_t eq = o.find('=');
    if (eq == std::string::npos ||
        !plugin->object->SetOption(o.substr(0, eq).c_str(), o.substr(eq + 1).c_str()))
      return cli::Fail("the plugin does not take the option " + o +
                       " (it takes: " + plugin->object->GetOptionsText() + ")");
  }
  root->SetMakeRange(start, start + length);
  if (!plugin->object->CanEncode(root->CheckAudio(), root->CheckVideo()))
    return cli::Fail(std::string(plugin->filename) + " cannot write what this project holds");
  const char *ext = plugin->object->GetExtension();
  const std::string out = WithExtension(requested, ext ? ext : "");
  const std::string partext = out.substr(out.rfind('.') == std::string::npos ? out.size() : out.rfind('.'));
  const std::string folder = WithExtension(out, ".parts");

  int media = 0, relative = 0;
  if (!CheckMedia(root, &media, &relative)) return 1;
  std::fprintf(stderr,
               "farm: %d frames in %d segments; the project, its %d media%s and %s must lie at the same "
               "paths on every node\n",
               count, segments, media, relative ? " (some relative)" : " (all found here)", folder.c_str());

  char self[PATH_MAX] = {};
  const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
  const std::string program = n > 0 ? std::string(self, size_t(n)) : "lumivaxel";

  std::string options;
  if (args.Has("--format")) options += " --format " + Quote(args.Get("--format"));
  if (args.Has("--option")) options += " --option " + Quote(args.Get("--option"));
  if (args.Has("--yes")) options += " --yes";
  std::string sbatchlines;
  auto extra = args.every.find("--sbatch-arg");
  if (extra != args.every.end())
    for (const std::string &a : extra->second) sbatchlines += "#SBATCH " + a + "\n";
  const char *pluginpath = std::getenv("LUMIVAXEL_PLUGIN_PATH");
  const std::string env = pluginpath ? "export LUMIVAXEL_PLUGIN_PATH=" + Quote(pluginpath) + "\n" : "";

  std::string frames, parts;
  for (const makesegment &s : CutSegments(count, segments, root->GetFps(), start, length))
    frames += (frames.empty() ? "" : " ") + std::to_string(s.first) + ":" + std::to_string(s.last);
  for (int k = 0; k < segments; ++k) {
    char name[32];
    std::snprintf(name, sizeof name, "/part-%04d", k);
    parts += " " + Quote(folder + name + partext);
  }
  // Slurm reads the #SBATCH lines up to the first command.
  std::string segmentscript = "#!/bin/bash\n";
  segmentscript += "# One segment of " + projectfile + " per array task; written by lumivaxel farm.\n";
  segmentscript += "# Remake segment K alone with: sbatch --array=K " + folder + "/segments.sbatch\n";
  segmentscript += "#SBATCH --job-name=lumivaxel-segments\n";
  segmentscript += "#SBATCH --array=0-" + std::to_string(segments - 1) + "\n";
  segmentscript += "#SBATCH --output=" + folder + "/segment-%a.log\n" + sbatchlines;
  segmentscript += "set -eu\n" + env;
  segmentscript += "frames=(" + frames + ")\n";
  segmentscript += "task=$SLURM_ARRAY_TASK_ID\n";
  segmentscript += "exec " + Quote(program) + " make " + Quote(projectfile) + " -o " + Quote(folder) +
                   "/part-$(printf %04d \"$task\")" + Quote(partext) + " --frames \"${frames[$task]}\"" +
                   options + "\n";
  std::string joinscript = "#!/bin/bash\n";
  joinscript += "# Joins the segments into " + out + " once all are made; written by lumivaxel farm.\n";
  joinscript += "#SBATCH --job-name=lumivaxel-join\n";
  joinscript += "#SBATCH --output=" + folder + "/join.log\n" + sbatchlines;
  joinscript += "set -eu\n" + env;
  joinscript += "exec " + Quote(program) + " join" + parts + " -o " + Quote(out) + "\n";

  if (args.Has("--dry-run")) {
    std::printf(
        "# %s/segments.sbatch\n%s\n# %s/join.sbatch (submitted with --dependency=afterok:<segments job>)\n%s",
        folder.c_str(), segmentscript.c_str(), folder.c_str(), joinscript.c_str());
    return 0;
  }
  if (mkdir(folder.c_str(), 0777) != 0 && errno != EEXIST) return cli::Fail("cannot create " + folder);
  for (const auto &[name, text] :
       {std::pair{"/segments.sbatch", &segmentscript}, std::pair{"/join.sbatch", &joinscript}}) {
    const std::string file = folder + name, temp = file + ".new";
    std::ofstream f(temp);
    f << *text;
    f.close();
    if (!f || std::rename(temp.c_str(), file.c_str()) != 0) return cli::Fail("cannot write " + file);
  }
  std::string id;
  if (Run({"sbatch", "--parsable", folder + "/segments.sbatch"}, &id) != 0 || id.empty())
    return cli::Fail("sbatch refused the segments (is Slurm running here? see " + folder +
                     "/segments.sbatch)");
  id = id.substr(0, id.find_first_of(";\n"));
  std::string joinid;
  if (Run({"sbatch", "--parsable", "--dependency=afterok:" + id, folder + "/join.sbatch"}, &joinid) != 0 ||
      joinid.empty())
    return cli::Fail("sbatch refused the join after job " + id + " (submit " + folder +
                     "/join.sbatch by hand)");
  joinid = joinid.substr(0, joinid.find_first_of(";\n"));
  std::printf("segments: job %s (%d tasks)\njoin: job %s, makes %s\nprogress: lumivaxel farm --status %s\n",
              id.c_str(), segments, joinid.c_str(), out.c_str(), id.c_str());
  return 0;
}
