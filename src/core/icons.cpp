// Icons of objects: icon files through the installed reader, otherwise the file type's icon.
#include "core/icons.h"

#include <strings.h>
#include <sys/stat.h>

#include <cstring>

#include "core/vemo.h"

namespace {

icon_file_reader g_reader = nullptr;

struct type_icon {
  const char *extension;
  const char *icon_name;
};

constexpr type_icon kTypeIcons[] = {
    {".vmp", "application-x-lumi-vaxel-project"},
    {".avi", "video-x-generic"},  {".mp4", "video-x-generic"},  {".mov", "video-x-generic"},
    {".mkv", "video-x-generic"},  {".mpg", "video-x-generic"},  {".mpeg", "video-x-generic"},
    {".wmv", "video-x-generic"},  {".asf", "video-x-generic"},  {".webm", "video-x-generic"},
    {".wav", "audio-x-generic"},  {".mp3", "audio-x-generic"},  {".ogg", "audio-x-generic"},
    {".jpg", "image-x-generic"},  {".jpeg", "image-x-generic"}, {".bmp", "image-x-generic"},
    {".dib", "image-x-generic"},  {".png", "image-x-generic"},  {".gif", "image-x-generic"},
    {".wmf", "image-x-generic"},  {".emf", "image-x-generic"},  {".ico", "image-x-generic"},
    {".cur", "image-x-generic"},  {".lvm", "text-x-script"},    {".txt", "text-x-generic"},
    {".html", "text-html"},       {".htm", "text-html"},
};

}  // namespace

void SetIconFileReader(icon_file_reader reader) { g_reader = reader; }

const char *IconNameForFile(const char *path) {
  if (!path) return nullptr;
  const char *dot = std::strrchr(path, '.');
  const char *slash = std::strrchr(path, PATH_SEPARATOR);
  if (!dot || (slash && dot < slash)) return nullptr;
  for (const auto &t : kTypeIcons)
    if (strcasecmp(dot, t.extension) == 0) return t.icon_name;
  return nullptr;
}

HICON vemo::IconLoadByFileName(const char *path) {
  if (!path || !*path) return nullptr;
  struct stat st;
  if (::stat(path, &st) != 0) return nullptr;
  if (g_reader) {
    if (HICON own = g_reader(path)) return own;
  }
  const char *name = IconNameForFile(path);
  if (!name) return nullptr;
  HICON h = new icon;
  h->name = name;
  return h;
}

bool vemo::SetIcon(const char *path) {
  DestroyIcon(iconhandle);
  iconhandle = IconLoadByFileName(path);
  return iconhandle != nullptr;
}

HICON vemo::GetIcon() {
  if (!iconhandle) {
    iconhandle = new icon;
    iconhandle->name = "dialog-question";
  }
  return iconhandle;
}
