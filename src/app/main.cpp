// lumivaxel: the command-line host of the engine. Builds nothing itself: each command opens a
// project through the engine's headless entry and does one job.
#include <malloc.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>

#include "app/cli.h"
#include "app/commands.h"

const command COMMANDS[] = {
    {"farm", "make a project on a Slurm cluster: segments in a job array, then a join",
     "usage: lumivaxel farm PROJECT.vmp -o OUT --segments N [--format NAME] [--option K=V]\n"
     "                      [--sbatch-arg ARG]... [--dry-run] [--yes]\n"
     "       lumivaxel farm --status JOBID\n"
     "\n"
     "Cuts the make range of PROJECT into N segments on the frame grid of the whole make and\n"
     "writes two Slurm batch scripts into OUT's parts folder (OUT without its extension, plus\n"
     ".parts): a job array whose task K makes segment K (lumivaxel make --frames), and a join\n"
     "(lumivaxel join) that runs when every task has succeeded. Submits both with sbatch and\n"
     "prints their job ids. The project, its media and OUT must lie at the same paths on every\n"
     "node; farm checks that the media exist here. See docs/farm.md.\n"
     "  -o, --output      the joined file\n"
     "  -n, --segments N  the number of segments (array tasks)\n"
     "  -f, --format      the export plugin, as for make; --option K=V, as for make\n"
     "  --sbatch-arg ARG  a line #SBATCH ARG in both scripts (such as --partition=render);\n"
     "                    may be given again\n"
     "  --dry-run         print the two scripts and submit nothing\n"
     "  --status JOBID    the tasks of the segments job by state (sacct, else scontrol)\n"
     "  -y, --yes         answer yes to the engine's questions, here and in every task\n",
     CmdFarm},
    {"frame", "render the picture of a project at a time into a BMP or PNG file",
     "usage: lumivaxel frame PROJECT.vmp --at SEC -o OUT.bmp|OUT.png [--yes] [--verbose]\n"
     "\n"
     "Composes the root arrangement of PROJECT at SEC seconds (default 0) exactly as making\n"
     "would, and writes the picture (alpha dropped) as a 24-bit BMP or a PNG.\n"
     "  --at SEC      the time in seconds, such as 2.5\n"
     "  -o, --output  the picture file; its extension chooses the format\n"
     "  -y, --yes     answer yes to the engine's questions (such as using a found media file)\n"
     "  --verbose     print the engine's processing messages\n",
     CmdFrame},
    {"info", "print a project's tree: clips, tracks, times, media, effects and keyed variables",
     "usage: lumivaxel info PROJECT.vmp [--yes] [--verbose]\n"
     "\n"
     "Prints the arrangement tree of PROJECT: for each clip its kind, name, track, start, length,\n"
     "offset and medium; its effects; and every variable with keys, with the keys (times in\n"
     "seconds).\n",
     CmdInfo},
    {"make", "make a project's video (or sound) file through an export plugin",
     "usage: lumivaxel make PROJECT.vmp -o OUT [--format NAME] [--from SEC --to SEC] [--frames A:B]\n"
     "                      [--option K=V] [--threads N] [--yes] [--verbose]\n"
     "\n"
     "Makes the make range of PROJECT (the whole project when none is set) frame by frame at the\n"
     "project's frame rate, with its mixed sound, into OUT through an export plugin. The plugin's\n"
     "extension replaces OUT's own. Progress goes to stderr; Ctrl-C stops between two frames and\n"
     "leaves a complete file of the frames made so far (exit status 1). Prints the file made.\n"
     "  -o, --output  the file to make\n"
     "  -f, --format  the export plugin by name (such as avi, mp4, wav; see lumivaxel plugins);\n"
     "                without it, the one whose file types match OUT's extension\n"
     "  --from SEC    where making starts, in seconds (default: the project's make range)\n"
     "  --to SEC      where making ends, in seconds\n"
     "  --frames A:B  make only frames A up to B (exclusive) of the range, with the frame times\n"
     "                and sound of the whole range: a segment for lumivaxel join\n"
     "  --option K=V  an option of the plugin, such as codec=raw\n"
     "  --threads N   compose frames ahead on N copies of the project (default: all cores); the\n"
     "                file made is the same for any N\n"
     "  -y, --yes     answer yes to the engine's questions (such as using a found media file)\n"
     "  --verbose     print the engine's processing messages\n",
     CmdMake},
    {"join", "join segments made with make --frames into one file, without coding again",
     "usage: lumivaxel join PART... -o OUT\n"
     "\n"
     "Joins segments of one make (lumivaxel make --frames A:B), given in any order, into OUT as\n"
     "a single make would have written it: AVI (raw or Motion JPEG with PCM sound), WAV and MP4\n"
     "packets are copied, picture sequences (name each by the name given to make, such as\n"
     "part.png) are copied under OUT's picture names. Parts of another plugin, size, rate or\n"
     "coding, gaps, overlaps and short parts are refused. Prints the file made.\n"
     "  -o, --output  the joined file\n",
     CmdJoin},
    {"plugins", "list the export and effect plugins found and what they write",
     "usage: lumivaxel plugins\n"
     "\n"
     "Lists the plugin libraries found next to the program, in the build's plugin folder and in\n"
     "the folders of $LUMIVAXEL_PLUGIN_PATH: export plugins with their file types, what they\n"
     "write and their options, then video and audio effect plugins.\n",
     CmdPlugins},
    {"run", "run a macro script on a project or a new arrangement; prints its return value",
     "usage: lumivaxel run SCRIPT.lvm [ARGS...] [--project FILE.vmp] [--max-clauses N] [--yes] [--verbose]\n"
     "       lumivaxel run -e 'CLAUSES' [ARGS...] [--project FILE.vmp] [--max-clauses N]\n"
     "\n"
     "Runs the macro as a top-level macro with ARGS as its arguments (the variables argc, arg1,\n"
     "arg2, ...). The root object is the project given with --project, else a new empty\n"
     "arrangement named Arrangement. The script's folder is the application folder, so\n"
     "\"call other.lvm\" finds a script beside it. Prints the return value (possibly empty) and\n"
     "a newline; a failing clause prints one line on stderr (exit status 1). Ctrl-C stops the\n"
     "macro between two clauses. The language and the objects' commands: docs/scripting.md.\n"
     "Every edit of the project is an undo step (\"Arrangement Undo\") written to FILE.vmp.journal\n"
     "before the next clause runs; saving starts the journal anew with the whole history. When the\n"
     "journal holds edits made after the last save (a run that crashed or never saved), run asks\n"
     "to recover them: --yes recovers, otherwise they stay in the journal untouched.\n"
     "  --project FILE     the project to work on (its root answers to its own name)\n"
     "  -e, --eval TEXT    the clauses on the command line instead of a script\n"
     "  --max-clauses N    stop with a failure after N clauses\n"
     "  -y, --yes          answer yes to the engine's questions and to !AskUser... dialogs\n"
     "  --verbose          print the engine's processing messages\n",
     CmdRun},
    {"preview", "a window that plays the composite with its sound",
     "usage: lumivaxel preview PROJECT.vmp [--at SEC] [--paused] [--size WxH] [--yes] [--verbose]\n"
     "\n"
     "Opens a window showing the root arrangement of PROJECT scaled to the window and plays it\n"
     "with its mixed sound; the sound is the clock, and pictures that cannot be composed in time\n"
     "are dropped (the status line counts them). Needs a display; exit status 0 on Q.\n"
     "  --at SEC      where to start, in seconds (default 0)\n"
     "  --paused      show the picture at SEC without playing\n"
     "  --size WxH    the picture area of the window (default the project's picture size)\n"
     "  -y, --yes     answer yes to the engine's questions (such as using a found media file)\n"
     "  --verbose     print the engine's processing messages\n"
     "Keys: space play/pause; left/right one frame; shift+left/right one second; Home/End;\n"
     "J/K/L shuttle back/pause/forward (again: faster); M the current clip's own medium on its\n"
     "own; Tab the next clip becomes current; F full screen; F12 a screenshot preview-FRAME.png;\n"
     "Q or Escape quit.\n",
     CmdWindow},
    {"edit", "the editing window: arrangement, variables and curves, effects, preview, making",
     "usage: lumivaxel edit [PROJECT.vmp] [--at SEC] [--select CLIP] [--size WxH] [--screenshot OUT.png]\n"
     "                      [--yes] [--verbose]\n"
     "\n"
     "Opens the editing window on PROJECT (a new project without one): the composite at the\n"
     "current time, the variables of the selected clip or effect with the curve of one of them,\n"
     "and the arrangement of the clips on their tracks below. Drag a clip to move it, its ends to\n"
     "trim it, the ruler to move the time; click on a curve to add a key, drag a key to move it,\n"
     "right-click it to delete it. Every menu command has a key (Help > Keys lists them; F10 or\n"
     "Alt opens the menus). Needs a display; exit status 0 when the window is closed.\n"
     "  --at SEC            the time shown first, in seconds (default 0)\n"
     "  --select CLIP       the clip whose variables the editor shows first (default the first)\n"
     "  --size WxH          the window's size (default 1280x800)\n"
     "  --screenshot FILE   draw the window once into a PNG or BMP and end\n"
     "  -y, --yes           answer yes to the engine's questions while the project loads\n"
     "  --verbose           print the layout of the arrangement and the curve when it changes\n",
     CmdWindow},
    {nullptr, nullptr, nullptr, nullptr},
};

void PrintUsage(const char *name) {
  for (const command *c = COMMANDS; c->name; ++c)
    if (!std::strcmp(c->name, name)) std::fputs(c->usage, stdout);
}

namespace {

void PrintHelp() {
  std::printf("usage: lumivaxel COMMAND [ARGS...]\n\nLumi-Vaxel media compositor.\n\nCommands:\n");
  for (const command *c = COMMANDS; c->name; ++c) std::printf("  %-8s %s\n", c->name, c->summary);
  std::printf("\nEvery command takes --help. Exit status 0 on success, 1 on failure.\n");
}

}  // namespace

int main(int argc, char **argv) {
  // Past a file-size limit a write fails like any other (and is reported) instead of the
  // signal killing the program in the middle of a file.
  std::signal(SIGXFSZ, SIG_IGN);
  // A frame of uncompressed video arrives in a packet of a megabyte or more, one per frame:
  // the heap keeps what a packet frees for the next instead of handing it back to the system
  // and faulting fresh pages in again.
  mallopt(M_MMAP_THRESHOLD, 32 << 20);
  mallopt(M_TRIM_THRESHOLD, 64 << 20);
  if (argc < 2 || !std::strcmp(argv[1], "--help") || !std::strcmp(argv[1], "-h") || !std::strcmp(argv[1], "help")) {
    PrintHelp();
    return argc < 2 ? 1 : 0;
  }
  if (!std::strcmp(argv[1], "--version")) {
    std::printf("lumivaxel 0.1.0\n");
    return 0;
  }
  for (const command *c = COMMANDS; c->name; ++c)
    if (!std::strcmp(argv[1], c->name)) return c->run(argc, argv, 2);
  return cli::Fail(std::string("unknown command ") + argv[1] + " (see lumivaxel --help)");
}
