// The MP4 export plugin: H.264 pictures (MPEG-4 part 2 where this FFmpeg has no H.264 encoder)
// and AAC sound.
#include <new>

#include "ffexport.h"

LUMIVAXEL_EXPORT_ENTRY() {
  try {
    return new ffexport(ffexportformat{
        "MP4 (H.264 or MPEG-4 video, AAC sound)",
        "*.mp4",
        ".mp4",
        "codec=h264|mpeg4 crf=0..51 qscale=1..31 abitrate=32..512",
        "mp4",
        {{"h264", {"libx264"}, AV_PIX_FMT_YUV420P, true}, {"mpeg4", {"mpeg4"}, AV_PIX_FMT_YUV420P, true}},
        "aac"});
  } catch (...) {
    return nullptr;
  }
}
