// Icons of objects: the picture inside an icon file, or the desktop's icon for the file's type.
#pragma once

#include "core/platform.h"

// Reads the icon held by a file (the largest image of an .ico or .cur file); null when it holds
// none. The image codecs install this when the library loads; without it files yield no icon of
// their own.
using icon_file_reader = HICON (*)(const char *path);
void SetIconFileReader(icon_file_reader reader);

// The freedesktop icon name for the type of the file at `path` (by extension), or null when
// no type is known for it. This is the "program associated with the file" lookup.
const char *IconNameForFile(const char *path);
