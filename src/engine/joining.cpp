// Joining segment files into one: containers packet by packet through FFmpeg's demuxers and
// muxers, picture sequences file by file.
#include "engine/joining.h"

#include <dirent.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <memory>

#include "engine/clip.h"
#include "media/ffinput.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/avstring.h>
}

namespace {

// ---- Segment places ----

std::string Range(int first, int last) { return std::to_string(first) + ":" + std::to_string(last); }

std::string BaseName(const std::string &path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// Sorts by first frame and finds the first gap or overlap of [0, count); empty when they tile it.
template <typename T>
std::string Tiling(std::vector<T> &parts, int count, const char *unit) {
  std::stable_sort(parts.begin(), parts.end(),
                   [](const T &a, const T &b) { return a.seg.first < b.seg.first; });
  int next = 0;
  for (size_t i = 0; i < parts.size(); ++i) {
    const makesegment &s = parts[i].seg;
    if (s.first > next) return std::string(unit) + " " + Range(next, s.first) + " are in no part";
    if (s.first < next)
      return BaseName(parts[i - 1].path) + " and " + BaseName(parts[i].path) + " both hold " + unit + " " +
             Range(s.first, std::min(next, s.last));
    next = s.last;
  }
  if (next < count) return std::string(unit) + " " + Range(next, count) + " are in no part";
  return "";
}

// ---- Containers ----

struct inputcloser {
  void operator()(AVFormatContext *c) const { avformat_close_input(&c); }
};

struct container {
  std::string path;
  std::unique_ptr<AVFormatContext, inputcloser> ic;
  makesegment seg;
};

// What a part holds, for comparing parts: its container, then each stream's coding.
std::string Describe(const AVFormatContext *ic) {
  std::string d = ic->iformat->name;
  for (unsigned i = 0; i < ic->nb_streams; ++i) {
    const AVStream *st = ic->streams[i];
    const AVCodecParameters *p = st->codecpar;
    char text[160];
    if (p->codec_type == AVMEDIA_TYPE_VIDEO)
      std::snprintf(text, sizeof text, ", %s %dx%d", avcodec_get_name(p->codec_id), p->width, p->height);
    else
      std::snprintf(text, sizeof text, ", %s %d Hz %d channels", avcodec_get_name(p->codec_id),
                    p->sample_rate, p->ch_layout.nb_channels);
    d += text;
  }
  return d;
}

bool SameExtradata(const AVFormatContext *a, const AVFormatContext *b) {
  for (unsigned i = 0; i < a->nb_streams; ++i) {
    const AVCodecParameters *x = a->streams[i]->codecpar, *y = b->streams[i]->codecpar;
    if (x->extradata_size != y->extradata_size ||
        (x->extradata_size && std::memcmp(x->extradata, y->extradata, size_t(x->extradata_size)) != 0))
      return false;
  }
  return true;
}

std::string AvError(int rc) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(rc, text, sizeof text);
  return text;
}

bool OpenContainers(const std::vector<std::string> &paths, std::vector<container> &parts, std::string *why) {
  for (const std::string &path : paths) {
    AVFormatContext *raw = nullptr;
    if (avformat_open_input(&raw, ("file:" + path).c_str(), nullptr, nullptr) < 0)
      return *why = "cannot read " + path, false;
    container c{path, std::unique_ptr<AVFormatContext, inputcloser>(raw), {}};
    if (avformat_find_stream_info(raw, nullptr) < 0)
      return *why = "cannot read the streams of " + path, false;
    const AVDictionaryEntry *tag = av_dict_get(raw->metadata, "comment", nullptr, 0);
    if (!tag || !ParseSegmentTag(tag->value, &c.seg))
      return *why = path + " is no segment (make it with lumivaxel make --frames A:B)", false;
    parts.push_back(std::move(c));
  }
  const container &one = parts.front();
  for (const container &c : parts) {
    if (std::strcmp(c.ic->iformat->name, one.ic->iformat->name) != 0)
      return *why = c.path + " was made by another export plugin than " + one.path, false;
    const std::string a = Describe(one.ic.get()), b = Describe(c.ic.get());
    if (a != b) return *why = c.path + " (" + b + ") does not fit " + one.path + " (" + a + ")", false;
    if (!SameExtradata(one.ic.get(), c.ic.get()))
      return *why = c.path + " was coded with other settings than " + one.path, false;
    if (c.seg.count != one.seg.count || c.seg.fps != one.seg.fps || c.seg.start != one.seg.start ||
        c.seg.length != one.seg.length)
      return *why = c.path + " is a segment of another make than " + one.path, false;
  }
  return true;
}

// The sound bytes that making hands over with frame i: those of the frame's exact span.
int64_t FrameSoundBytes(const makesegment &s, int i) {
  const int64_t ms = clip::MakeFrameTime(s.start, s.length, s.count, i + 1) -
                     clip::MakeFrameTime(s.start, s.length, s.count, i);
  return clip::MakeSoundBytes(ms);
}

// The muxer that writes what the demuxer read.
const char *MuxerFor(const AVInputFormat *f) {
  if (std::strcmp(f->name, "avi") == 0 || std::strcmp(f->name, "wav") == 0) return f->name;
  if (std::strstr(f->name, "mp4")) return "mp4";
  return nullptr;
}

class muxer {
 public:
  ~muxer() {
    if (oc) {
      if (oc->pb) avio_closep(&oc->pb);
      avformat_free_context(oc);
    }
    av_packet_free(&pkt);
    av_packet_free(&soundpkt);
  }
  bool Open(const container &first, const std::string &file, std::string *why);
  // Copies one part: pictures as they are, PCM sound in the make's per-frame blocks.
  bool Copy(container &part, std::string *why);
  bool Finish(std::string *why);

 private:
  bool Write(AVPacket *p, unsigned stream, std::string *why);
  bool FlushSound(int upto, std::string *why);

  AVFormatContext *oc = nullptr;
  AVPacket *pkt = nullptr;       // the packet read
  AVPacket *soundpkt = nullptr;  // a sound block made up
  int video = -1, sound = -1;    // stream indices
  bool pcm = false;
  makesegment whole;
  int soundframe = 0;        // the next frame whose sound block is due
  int64_t soundpos = 0;      // sample frames written
  std::deque<uint8_t> fifo;  // PCM read but not yet written
  std::vector<int64_t> lastdts;
};

bool muxer::Open(const container &first, const std::string &file, std::string *why) {
  const AVFormatContext *ic = first.ic.get();
  whole = first.seg;
  const char *name = MuxerFor(ic->iformat);
  if (!name) return *why = std::string("cannot join ") + ic->iformat->name + " files", false;
  if (avformat_alloc_output_context2(&oc, nullptr, name, file.c_str()) < 0 || !oc ||
      !(pkt = av_packet_alloc()) || !(soundpkt = av_packet_alloc()))
    return *why = "out of memory", false;
  for (const AVDictionaryEntry *t = nullptr; (t = av_dict_get(ic->metadata, "", t, AV_DICT_IGNORE_SUFFIX));)
    if (std::strcmp(t->key, "comment") != 0 && std::strcmp(t->key, "encoder") != 0)
      av_dict_set(&oc->metadata, t->key, t->value, 0);
  for (unsigned i = 0; i < ic->nb_streams; ++i) {
    const AVStream *in = ic->streams[i];
    AVStream *st = avformat_new_stream(oc, nullptr);
    if (!st || avcodec_parameters_copy(st->codecpar, in->codecpar) < 0) return *why = "out of memory", false;
    st->codecpar->codec_tag = 0;
    // A demuxer measures the bit rate of the file it reads and the muxer sizes the header it
    // writes by it: the encoder's own rate (fixed for raw pictures, FFmpeg's default of 200000
    // for the others, which the plugins leave as it is) keeps the header a single make wrote.
    if (in->codecpar->codec_type == AVMEDIA_TYPE_VIDEO) {
      const AVCodecParameters *p = in->codecpar;
      st->codecpar->bit_rate = p->codec_id != AV_CODEC_ID_RAWVIDEO
                                   ? 200000
                                   : av_rescale_q(int64_t(p->width) * p->height * p->bits_per_coded_sample,
                                                  AVRational{first.seg.fps, 1}, AVRational{1, 1});
    }
    st->time_base = in->time_base;
    st->avg_frame_rate = in->avg_frame_rate;
    st->r_frame_rate = in->r_frame_rate;
    if (in->codecpar->codec_type == AVMEDIA_TYPE_VIDEO && video < 0) video = int(i);
    if (in->codecpar->codec_type == AVMEDIA_TYPE_AUDIO && sound < 0) sound = int(i);
  }
  lastdts.assign(ic->nb_streams, INT64_MIN);
  if (sound >= 0) {
    const AVCodecParameters *p = ic->streams[sound]->codecpar;
    pcm = p->codec_id == AV_CODEC_ID_PCM_S16LE;
    if (pcm && (p->sample_rate != INTERNAL_RATE || p->ch_layout.nb_channels != 2))
      return *why = first.path + " holds other sound than a make writes (44100 Hz, stereo)", false;
  }
  // Named as files, so that a name such as "0:100.avi" is no protocol.
  int rc = avio_open(&oc->pb, ("file:" + file).c_str(), AVIO_FLAG_WRITE);
  if (rc < 0) return *why = "cannot create " + file + ": " + AvError(rc), false;
  rc = avformat_write_header(oc, nullptr);
  if (rc < 0) return *why = "cannot start " + file + ": " + AvError(rc), false;
  return true;
}

bool muxer::Write(AVPacket *p, unsigned stream, std::string *why) {
  // Where parts meet, a coder's lead-in (AAC's priming) may reach back over the previous part's
  // end: such packets are left out so that the stream's time keeps going forward.
  if (p->dts != AV_NOPTS_VALUE) {
    if (p->dts <= lastdts[stream]) {
      av_packet_unref(p);
      return true;
    }
    lastdts[stream] = p->dts;
  }
  p->stream_index = int(stream);
  const int rc = av_interleaved_write_frame(oc, p);
  if (rc < 0) return *why = "writing failed: " + AvError(rc), false;
  return true;
}

// Writes the sound blocks of frames before `upto` that have arrived whole, as making handed
// them to the plugin: one block per frame, its length from the frame's exact times.
bool muxer::FlushSound(int upto, std::string *why) {
  while (soundframe < upto) {
    const int64_t bytes = FrameSoundBytes(whole, soundframe);
    if (int64_t(fifo.size()) < bytes) return true;
    if (av_new_packet(soundpkt, int(bytes)) < 0) return *why = "out of memory", false;
    std::copy(fifo.begin(), fifo.begin() + bytes, soundpkt->data);
    fifo.erase(fifo.begin(), fifo.begin() + bytes);
    const AVRational tb = oc->streams[sound]->time_base;
    soundpkt->pts = soundpkt->dts = av_rescale_q(soundpos, AVRational{1, INTERNAL_RATE}, tb);
    soundpkt->duration = av_rescale_q(bytes / INTERNAL_BYTES_PER_FRAME, AVRational{1, INTERNAL_RATE}, tb);
    soundpos += bytes / INTERNAL_BYTES_PER_FRAME;
    ++soundframe;
    if (!Write(soundpkt, unsigned(sound), why)) return false;
  }
  return true;
}

bool muxer::Copy(container &part, std::string *why) {
  AVFormatContext *ic = part.ic.get();
  const makesegment &s = part.seg;
  // Shifts from the part's own times to the whole make's.
  std::vector<int64_t> shift(ic->nb_streams, 0);
  int64_t before = 0;  // sample frames of the frames before this part
  for (int i = 0; i < s.first; ++i) before += FrameSoundBytes(s, i) / INTERNAL_BYTES_PER_FRAME;
  for (unsigned i = 0; i < ic->nb_streams; ++i) {
    const AVStream *st = ic->streams[i];
    if (int(i) == video)
      shift[i] = av_rescale_q(s.first, AVRational{1, s.fps}, st->time_base);
    else
      shift[i] = av_rescale_q(before, AVRational{1, INTERNAL_RATE}, st->time_base);
  }
  int frames = 0;
  int64_t soundbytes = 0;
  for (;;) {
    int rc = av_read_frame(ic, pkt);
    if (rc == AVERROR_EOF) break;
    if (rc < 0) return *why = "cannot read " + part.path + ": " + AvError(rc), false;
    const unsigned i = unsigned(pkt->stream_index);
    if (i >= ic->nb_streams || (int(i) != video && int(i) != sound)) {
      av_packet_unref(pkt);
      continue;
    }
    if (int(i) == sound && pcm) {
      fifo.insert(fifo.end(), pkt->data, pkt->data + pkt->size);
      soundbytes += pkt->size;
      av_packet_unref(pkt);
      if (!FlushSound(video >= 0 ? s.first + frames : s.last, why)) return false;
      continue;
    }
    if (pkt->pts != AV_NOPTS_VALUE) pkt->pts += shift[i];
    if (pkt->dts != AV_NOPTS_VALUE) pkt->dts += shift[i];
    if (int(i) == video) {
      // The previous frames' sound goes first, as making wrote it.
      if (pcm && !FlushSound(s.first + frames, why)) return false;
      if (frames == 0 && !(pkt->flags & AV_PKT_FLAG_KEY))
        return *why = part.path + " does not start on a key frame", false;
      ++frames;
    }
    av_packet_rescale_ts(pkt, ic->streams[i]->time_base, oc->streams[i]->time_base);
    if (!Write(pkt, i, why)) return false;
  }
  if (video >= 0 && frames != s.last - s.first)
    return *why = part.path + " holds " + std::to_string(frames) + " frames, not the " +
                  std::to_string(s.last - s.first) + " of frames " + Range(s.first, s.last) +
                  " (was its make stopped?)",
           false;
  if (pcm) {
    if (!FlushSound(s.last, why)) return false;
    if (soundframe != s.last || !fifo.empty())
      return *why = part.path + " holds " + std::to_string(soundbytes) +
                    " bytes of sound, not the sound of frames " + Range(s.first, s.last),
             false;
  }
  return true;
}

bool muxer::Finish(std::string *why) {
  const int rc = av_write_trailer(oc);
  if (rc < 0) return *why = "cannot finish the file: " + AvError(rc), false;
  if (avio_closep(&oc->pb) < 0) return *why = "cannot close the file", false;
  return true;
}

bool JoinContainers(const std::vector<std::string> &paths, const std::string &temp, std::string *why) {
  std::vector<container> parts;
  if (!OpenContainers(paths, parts, why)) return false;
  const std::string gap = Tiling(parts, parts.front().seg.count, "frames");
  if (!gap.empty()) return *why = gap, false;
  muxer m;
  if (!m.Open(parts.front(), temp, why)) return false;
  for (container &c : parts)
    if (!m.Copy(c, why)) return false;
  return m.Finish(why);
}

// ---- Picture sequences ----

// The name of picture `index` of a sequence named `name`, as the picture sequence plugin names
// it: a frame number pattern ("shot%04d.png") filled in, or "_" and six digits before the
// extension.
std::string PictureName(const std::string &name, int index) {
  char text[4096];
  if (av_get_frame_filename2(text, sizeof text, name.c_str(), index, 0) == 0) return text;
  const size_t slash = name.rfind('/');
  size_t dot = name.rfind('.');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) dot = name.size();
  std::snprintf(text, sizeof text, "%s_%06d%s", name.substr(0, dot).c_str(), index, name.substr(dot).c_str());
  return text;
}

bool IsPictureName(const std::string &path) {
  const size_t n = path.size();
  return n >= 4 &&
         (strcasecmp(path.c_str() + n - 4, ".png") == 0 || strcasecmp(path.c_str() + n - 4, ".bmp") == 0);
}

struct sequence {
  std::string path;
  makesegment seg;  // first and last picture number
};

// The numbers of the pictures of `name` found in its folder, in order.
std::vector<int> PictureNumbers(const std::string &name) {
  const size_t slash = name.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : name.substr(0, slash);
  const std::string first = PictureName(name, 0);
  // The number stands where the name of picture 0 ends in digits before its extension.
  const size_t dot = first.rfind('.');
  size_t digits = dot == std::string::npos ? first.size() : dot;
  while (digits > 0 && first[digits - 1] == '0') --digits;
  const std::string prefix = BaseName(first.substr(0, digits));
  const std::string suffix = first.substr(dot == std::string::npos ? first.size() : dot);
  std::vector<int> numbers;
  DIR *d = opendir(folder.c_str());
  if (!d) return numbers;
  while (const dirent *e = readdir(d)) {
    const std::string n = e->d_name;
    if (n.size() <= prefix.size() + suffix.size() || n.compare(0, prefix.size(), prefix) != 0 ||
        n.compare(n.size() - suffix.size(), suffix.size(), suffix) != 0)
      continue;
    const std::string middle = n.substr(prefix.size(), n.size() - prefix.size() - suffix.size());
    if (middle.size() > 9 || middle.find_first_not_of("0123456789") != std::string::npos) continue;
    const int index = std::atoi(middle.c_str());
    if (BaseName(PictureName(name, index)) == n) numbers.push_back(index);
  }
  closedir(d);
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

// Width and height from a PNG's header chunk or a BMP's info header; false for anything else.
bool PictureSize(const std::string &path, int *w, int *h) {
  uint8_t b[26] = {};
  FILE *f = std::fopen(path.c_str(), "rb");
  if (!f) return false;
  const size_t n = std::fread(b, 1, sizeof b, f);
  std::fclose(f);
  if (n >= 24 && std::memcmp(b, "\x89PNG", 4) == 0) {
    *w = int(uint32_t(b[16]) << 24 | uint32_t(b[17]) << 16 | uint32_t(b[18]) << 8 | b[19]);
    *h = int(uint32_t(b[20]) << 24 | uint32_t(b[21]) << 16 | uint32_t(b[22]) << 8 | b[23]);
    return true;
  }
  if (n >= 26 && b[0] == 'B' && b[1] == 'M') {
    *w = int(uint32_t(b[18]) | uint32_t(b[19]) << 8 | uint32_t(b[20]) << 16 | uint32_t(b[21]) << 24);
    *h = int(uint32_t(b[22]) | uint32_t(b[23]) << 8 | uint32_t(b[24]) << 16 | uint32_t(b[25]) << 24);
    return true;
  }
  return false;
}

bool JoinPictures(const std::vector<std::string> &paths, const std::string &out, std::string *why) {
  std::vector<sequence> parts;
  int count = 0;
  for (const std::string &p : paths) {
    const std::vector<int> n = PictureNumbers(p);
    if (n.empty()) return *why = "no pictures of " + p + " (such as " + PictureName(p, 0) + ")", false;
    if (n.back() - n.front() + 1 != int(n.size()))
      return *why = p + " lacks pictures between " + std::to_string(n.front()) + " and " +
                    std::to_string(n.back()),
             false;
    parts.push_back({p, {n.front(), n.back() + 1, 0, 0, 0, 0}});
    count = std::max(count, n.back() + 1);
  }
  const std::string gap = Tiling(parts, count, "pictures");
  if (!gap.empty()) return *why = gap, false;
  int w0 = 0, h0 = 0;
  if (!PictureSize(PictureName(parts.front().path, 0), &w0, &h0))
    return *why = "cannot read " + PictureName(parts.front().path, 0), false;
  for (const sequence &s : parts) {
    for (int i = s.seg.first; i < s.seg.last; ++i) {
      const std::string from = PictureName(s.path, i);
      int w = 0, h = 0;
      if (!PictureSize(from, &w, &h)) return *why = "cannot read " + from, false;
      if (w != w0 || h != h0)
        return *why = from + " is " + std::to_string(w) + "x" + std::to_string(h) + ", not " +
                      std::to_string(w0) + "x" + std::to_string(h0),
               false;
      // Each picture is written beside its final name and renamed over it.
      const std::string to = PictureName(out, i), temp = to + ".part";
      std::error_code ec;
      std::filesystem::copy_file(from, temp, std::filesystem::copy_options::overwrite_existing, ec);
      if (!ec) std::filesystem::rename(temp, to, ec);
      if (ec) return *why = "cannot write " + to + ": " + ec.message(), false;
    }
  }
  return true;
}

}  // namespace

std::string SegmentTag(const makesegment &s) {
  char text[128];
  std::snprintf(text, sizeof text, "lumivaxel segment: frames %d:%d of %d at %d fps over %d+%d ms", s.first,
                s.last, s.count, s.fps, s.start, s.length);
  return text;
}

bool ParseSegmentTag(const std::string &text, makesegment *s) {
  makesegment r;
  int used = 0;
  if (std::sscanf(text.c_str(), "lumivaxel segment: frames %d:%d of %d at %d fps over %d+%d ms%n", &r.first,
                  &r.last, &r.count, &r.fps, &r.start, &r.length, &used) != 6 ||
      size_t(used) != text.size())
    return false;
  if (r.first < 0 || r.last <= r.first || r.last > r.count || r.fps <= 0 || r.length <= 0) return false;
  *s = r;
  return true;
}

std::vector<makesegment> CutSegments(int count, int segments, int fps, int start, int length) {
  std::vector<makesegment> out;
  for (int k = 0; k < segments; ++k)
    out.push_back({int(int64_t(k) * count / segments), int(int64_t(k + 1) * count / segments), count, fps,
                   start, length});
  return out;
}

bool JoinSegments(const std::vector<std::string> &parts, const std::string &out, std::string *why) {
  // The demuxers' remarks (such as a one-frame AVI's "non-interleaved") are no failures.
  ffinput::PrepareLibraries();
  std::string ignored;
  if (!why) why = &ignored;
  if (parts.empty()) return *why = "no parts to join", false;
  if (IsPictureName(out) || IsPictureName(parts.front())) {
    for (const std::string &p : parts)
      if (!IsPictureName(p)) return *why = p + " is no picture sequence like " + parts.front(), false;
    return JoinPictures(parts, out, why);
  }
  const std::string temp = out + ".joining";
  if (JoinContainers(parts, temp, why) && std::rename(temp.c_str(), out.c_str()) == 0) return true;
  if (why->empty()) *why = "cannot write " + out;
  unlink(temp.c_str());
  return false;
}
