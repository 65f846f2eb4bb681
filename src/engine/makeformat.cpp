// The output wave format of making and what the export plugin is told before it opens.
#include <cstring>

#include "engine/clip.h"

namespace {

struct outputchoice {
  int choice, bits, channels, rate;
};

// The choices are the resource IDs of the format menu; their order here is the menu's.
constexpr outputchoice kChoices[] = {
    {95, 16, 2, 44100}, {122, 16, 1, 44100}, {90, 16, 2, 22050}, {91, 16, 1, 22050},
    {120, 8, 2, 22050}, {121, 8, 1, 22050},  {92, 8, 2, 11025},
};
constexpr outputchoice kOtherChoice = {0, 8, 1, 11025};

}  // namespace

bool clip::InitWFX(int choice) {
  outputchoice c = kOtherChoice;
  for (const outputchoice &k : kChoices)
    if (k.choice == choice) c = k;
  outputformat.wFormatTag = WAVE_FORMAT_PCM;
  outputformat.nChannels = uint16_t(c.channels);
  outputformat.nSamplesPerSec = uint32_t(c.rate);
  outputformat.wBitsPerSample = uint16_t(c.bits);
  outputformat.nBlockAlign = uint16_t(c.bits * c.channels / 8);
  outputformat.nAvgBytesPerSec = outputformat.nSamplesPerSec * outputformat.nBlockAlign;
  // Unlike wavcfg's record, the maker's format says it carries no extra bytes.
  outputformat.cbSize = 0;
  return true;
}

void clip::MakeTellPlugin(imgio_export *plugin, int length) {
  plugin->SetLengthMilliseconds(length);
  const projecttexts &t = GetProjectTexts();
  // SetText itself refuses empty texts and texts of 500 characters or more.
  plugin->SetTitle(t.title.empty() ? GetRootClip()->GetName() : t.title.c_str());
  plugin->SetAuthor(t.author.c_str());
  plugin->SetCopyright(t.copyright.c_str());
  plugin->SetComment(t.comment.c_str());
}

void clip::MakeOpenResult(imgio_export *plugin) {
  char on[8] = "";
  if (GetDatasetValue("prefs", kPrefOpenMadeFile, on, sizeof on) == 0 || std::strcmp(on, "1") != 0) return;
  char made[imgio::kTextSize] = "";
  if (plugin->GetFileName(made, sizeof made)) ShellOpenFile(made);
}
