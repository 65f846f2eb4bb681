// A minimal program that embeds the engine: it loads a project, writes the picture at a time
// as a BMP and makes the project's first seconds into a file through an export plugin, using
// only the installed headers and library.
//
// usage: host PROJECT.vmp FRAME.bmp SECONDS OUTPUT
//   built with: c++ -std=c++20 host.cpp $(pkg-config --cflags --libs vemo)
#include <cstdio>
#include <cstdlib>

#include "vemodll.h"

int main(int argc, char **argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: host PROJECT.vmp FRAME.bmp SECONDS OUTPUT\n");
    return 2;
  }
  const int ms = static_cast<int>(std::atof(argv[3]) * 1000);

  // The headless entry: a window context, a surface manager (which finds the installed
  // plugins) and a root arrangement. Questions are answered "no" by the headless dialogs.
  vemoproject project;
  if (!project.Ok() || !project.Load(argv[1])) {
    std::fprintf(stderr, "host: cannot load %s\n", argv[1]);
    return 1;
  }

  KORSurface *picture = project.Compose(ms);
  if (!picture || !surface::SurfaceSave(picture, argv[2])) {
    std::fprintf(stderr, "host: cannot write %s\n", argv[2]);
    return 1;
  }

  KORPlugin *plugin = project.Surfaces()->Plugins().FindExportForFile(argv[4]);
  if (!plugin || !plugin->object) {
    std::fprintf(stderr, "host: no export plugin writes %s\n", argv[4]);
    return 1;
  }
  clip *root = project.Root();
  root->SetMakeRange(0, ms);
  // The engine asks for the output file through the dialogs; the headless ones answer this.
  HeadlessDialogs().file_answer = argv[4];
  if (root->StartMaking(plugin->object) != 1) {
    std::fprintf(stderr, "host: making %s failed\n", argv[4]);
    return 1;
  }
  char made[imgio::kTextSize] = "";
  plugin->object->GetFileName(made, sizeof made);
  std::printf("%s\n", made);
  return 0;
}
