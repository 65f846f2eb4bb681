// Joined segments, and frames made on several composers, equal a single make; misfits are refused.
#include <gtest/gtest.h>

#include <filesystem>

#include "core/dialogs.h"
#include "engine/enginetest.h"
#include "engine/joining.h"
#include "engine/parallelmaking.h"
#include "media/plugins.h"
#include "support/mediafile.h"

extern "C" {
#include <libavformat/avformat.h>
}

using namespace enginetest;

namespace {

// The packets of a file: each picture's bytes, and all the sound's bytes in a row.
struct packets {
  std::vector<std::string> pictures;
  std::string sound;
};

packets Read(const std::string &file) {
  packets out;
  AVFormatContext *ic = nullptr;
  if (avformat_open_input(&ic, file.c_str(), nullptr, nullptr) < 0) return out;
  AVPacket *pkt = av_packet_alloc();
  while (av_read_frame(ic, pkt) >= 0) {
    const std::string bytes(reinterpret_cast<const char *>(pkt->data), size_t(pkt->size));
    if (ic->streams[pkt->stream_index]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO)
      out.pictures.push_back(bytes);
    else
      out.sound += bytes;
    av_packet_unref(pkt);
  }
  av_packet_free(&pkt);
  avformat_close_input(&ic);
  return out;
}

// A moving picture over a gradient, and sound whose every sample differs: a misplaced one shows.
struct segmentproject : project {
  explicit segmentproject(bool video = true, bool sound = true, int length = 1000) {
    if (video) {
      clip *c = Still(root(), "pic.bmp", 40, 30, 0, 10000, 1);
      SetDst(c, 0, {0, 0, 0.3, 0.3});
      SetDst(c, 2000, {0.7, 0.6, 1, 1});
      Solid(root(), pix32(10, 200, 30, 255), 0, 10000, 2);
    }
    if (sound) {
      std::vector<uint8_t> samples(size_t(44100) * 4 * 3);
      for (size_t i = 0; i < samples.size(); ++i) samples[i] = uint8_t(i * 7 + i / 4093);
      p->AddMedia(root(), Wav("ramp.wav", samples).c_str(), 0, 3);
    }
    root()->SetMakeRange(0, length);
  }
  int Count() const { return clip::MakeFrameCount(root()->GetFps(), root()->GetMakeEnd()); }
  // Makes frames [first, last) (the whole range for last < 0) through plugin `name`; the file.
  std::string Make(const char *name, const char *codec, const std::string &file, int first = 0,
                   int last = -1) {
    KORPlugin *plugin = p->Surfaces()->Plugins().FindExport(name);
    if (!plugin || !plugin->object) return "";
    if (codec) {
      EXPECT_EQ(plugin->object->SetOption("codec", codec), 1);
    }
    root()->SetMakeFrames(first, last);
    plugin->object->SetComment(
        last < 0 ? nullptr
                 : SegmentTag({first, last, Count(), root()->GetFps(), 0, root()->GetMakeEnd()}).c_str());
    HeadlessDialogs().file_answer = dir.file(file);
    const int result = root()->StartMaking(plugin->object);
    root()->SetMakeFrames(0, -1);
    return result == 1 ? dir.file(file) : "";
  }
  // Makes the cut (frame numbers where segments begin, then the count) and joins it; the file.
  std::string MakeAndJoin(const char *name, const char *codec, const std::vector<int> &cut,
                          const std::string &out) {
    std::vector<std::string> parts;
    for (size_t k = 0; k + 1 < cut.size(); ++k) {
      parts.push_back(
          Make(name, codec, "part" + std::to_string(k) + out.substr(out.rfind('.')), cut[k], cut[k + 1]));
      if (parts.back().empty()) return "";
    }
    std::string why;
    EXPECT_TRUE(JoinSegments(parts, dir.file(out), &why)) << why;
    return dir.file(out);
  }
};

using fixtures::ReadFileBytes;

void ExpectSame(const std::string &joined, const std::string &whole) {
  const packets a = Read(joined), b = Read(whole);
  ASSERT_FALSE(b.pictures.empty() && b.sound.empty());
  ASSERT_EQ(a.pictures.size(), b.pictures.size());
  for (size_t i = 0; i < a.pictures.size(); ++i)
    EXPECT_TRUE(a.pictures[i] == b.pictures[i]) << "picture " << i;
  EXPECT_EQ(a.sound.size(), b.sound.size());
  EXPECT_TRUE(a.sound == b.sound);
}

}  // namespace

TEST(Joining, CutsCoverTheFramesEvenly) {
  const std::vector<makesegment> s = CutSegments(10, 3, 25, 0, 400);
  ASSERT_EQ(s.size(), 3u);
  EXPECT_EQ((std::vector<int>{s[0].first, s[0].last, s[1].last, s[2].last}), (std::vector<int>{0, 3, 6, 10}));
  makesegment back;
  ASSERT_TRUE(ParseSegmentTag(SegmentTag(s[1]), &back));
  EXPECT_EQ(std::tuple(back.first, back.count, back.length), std::tuple(3, 10, 400));
  EXPECT_FALSE(ParseSegmentTag("lumivaxel segment: frames 5:3 of 10 at 25 fps over 0+400 ms", &back));
  EXPECT_FALSE(ParseSegmentTag("a comment", &back));
}

TEST(Joining, RawAndMjpegAviOfAnyCutEqualTheSingleMakeAndMp4KeepsEveryPicture) {
  segmentproject pr;  // 25 frames
  const std::string whole = pr.Make("avi", "raw", "whole.avi");
  ASSERT_FALSE(whole.empty());
  const int n = pr.Count();
  ASSERT_NE(Read(whole).sound.find_first_not_of('\0'), std::string::npos);  // the sound is heard
  for (int segments : {1, 2, 3, 7}) {
    std::vector<int> cut;
    for (const makesegment &s : CutSegments(n, segments, 25, 0, 1000)) cut.push_back(s.first);
    cut.push_back(n);
    SCOPED_TRACE(segments);
    ExpectSame(pr.MakeAndJoin("avi", "raw", cut, "joined.avi"), whole);
  }
  // A segment of one frame at each end; the joined file is the single make's, byte for byte.
  const std::string joined = pr.MakeAndJoin("avi", "raw", {0, 1, n - 1, n}, "ends.avi");
  ExpectSame(joined, whole);
  EXPECT_TRUE(ReadFileBytes(joined) == ReadFileBytes(whole));
  // Compressed pictures: the packets of each segment's encoder are the single make's.
  ExpectSame(pr.MakeAndJoin("avi", "mjpeg", {0, 9, 10, 25}, "mjpeg.avi"),
             pr.Make("avi", "mjpeg", "whole.avi"));
  // MP4: each segment has its own encoder, so the same pictures, not the same bytes.
  const packets mp4 = Read(pr.MakeAndJoin("mp4", nullptr, {0, 10, 25}, "joined.mp4"));
  EXPECT_EQ(mp4.pictures.size(), Read(pr.Make("mp4", nullptr, "whole.mp4")).pictures.size());
  EXPECT_FALSE(mp4.sound.empty());
}

TEST(Joining, FramesOfUnevenLengthKeepTheirSound) {
  // 15 fps over 1003 ms: 15 frames of 66 or 67 ms, so the sound blocks differ in length.
  segmentproject pr(true, true, 1003);
  pr.root()->ChangeVideoFps(clip::kDefaultFps);
  const std::string whole = pr.Make("avi", "raw", "whole.avi");
  ExpectSame(pr.MakeAndJoin("avi", "raw", {0, 4, 5, 11, 15}, "joined.avi"), whole);
}

TEST(Joining, WavSoundEqualsTheSingleMake) {
  segmentproject pr(false, true, 1003);
  const std::string whole = pr.Make("wav", nullptr, "whole.wav");
  ASSERT_FALSE(whole.empty());
  const std::string joined = pr.MakeAndJoin("wav", nullptr, {0, 6, pr.Count()}, "joined.wav");
  EXPECT_TRUE(ReadFileBytes(joined) == ReadFileBytes(whole));
}

TEST(Joining, PictureSequencesAreCopiedUnderTheOutputsNames) {
  segmentproject pr(true, false, 400);
  ASSERT_FALSE(pr.Make("images", nullptr, "whole.png").empty());
  std::vector<std::string> parts;
  for (auto [a, b] : {std::pair{4, 10}, std::pair{0, 4}}) {
    parts.push_back(pr.dir.file("p" + std::to_string(a) + ".png"));
    ASSERT_FALSE(pr.Make("images", nullptr, "p" + std::to_string(a) + ".png", a, b).empty());
  }
  std::string why;
  ASSERT_TRUE(JoinSegments(parts, pr.dir.file("joined.png"), &why)) << why;
  for (std::string n : {"_000000.png", "_000005.png", "_000009.png"})
    EXPECT_TRUE(ReadFileBytes(pr.dir.file("joined" + n)) == ReadFileBytes(pr.dir.file("whole" + n))) << n;
  // A hole in the numbers is refused.
  std::remove(pr.dir.file("p4_000006.png").c_str());
  EXPECT_FALSE(JoinSegments(parts, pr.dir.file("again.png"), &why));
  EXPECT_NE(why.find("lacks pictures"), std::string::npos) << why;
}

TEST(Joining, PartsThatDoNotFitAreRefused) {
  segmentproject pr;
  const std::string plain = pr.Make("avi", "raw", "plain.avi");  // first: a plugin's comment stays set
  const std::string a = pr.Make("avi", "raw", "a.avi", 0, 5), b = pr.Make("avi", "raw", "b.avi", 5, 25);
  const std::string c = pr.Make("avi", "raw", "c.avi", 7, 25), d = pr.Make("avi", "raw", "d.avi", 4, 25);
  const std::string m = pr.Make("avi", "mjpeg", "m.avi", 5, 25), q = pr.Make("mp4", nullptr, "q.mp4", 5, 25);
  pr.root()->SetMakeRange(0, 1200);
  const std::string other = pr.Make("avi", "raw", "other.avi", 5, 30);
  const struct {
    std::vector<std::string> parts;
    const char *says;
  } cases[] = {
      {{a, c}, "frames 5:7 are in no part"}, {{b}, "frames 0:5 are in no part"},
      {{a, d}, "both hold frames 4:5"},      {{a, m}, "does not fit"},
      {{a, q}, "another export plugin"},     {{a, plain}, "is no segment"},
      {{a, other}, "another make"},
  };
  for (const auto &k : cases) {
    std::string why;
    EXPECT_FALSE(JoinSegments(k.parts, pr.dir.file("out.avi"), &why)) << k.says;
    EXPECT_NE(why.find(k.says), std::string::npos) << why;
    EXPECT_EQ(why.find('\n'), std::string::npos);
  }
  // A part cut short (a stopped make) is found by its frame count.
  const std::string cut = pr.dir.file("short.avi");
  std::filesystem::copy_file(b, cut);
  std::filesystem::resize_file(cut, std::filesystem::file_size(b) / 2);
  std::string why;
  EXPECT_FALSE(JoinSegments({a, cut}, pr.dir.file("out.avi"), &why));
  EXPECT_NE(why.find("frames, not the 20"), std::string::npos) << why;
  // Nothing is left where the joined file would have been.
  EXPECT_TRUE(ReadFileBytes(pr.dir.file("out.avi")).empty());
}

// Makes the saved project with 1, 2 and 4 threads; every file must be the first one's.
std::vector<uint8_t> SameForOneTwoAndFourThreads(segmentproject &pr, const std::string &saved,
                                                 const char *plugin, const char *codec) {
  std::vector<uint8_t> alone;
  for (int threads : {1, 2, 4}) {
    const auto helpers = parallelmaking::Start(pr.root(), saved, threads);
    EXPECT_EQ(helpers != nullptr, threads > 1);
    const std::vector<uint8_t> made = ReadFileBytes(pr.Make(
        plugin, codec,
        "t" + std::to_string(threads) + "." + std::string(plugin == std::string("wav") ? "wav" : "avi")));
    if (threads == 1) alone = made;
    EXPECT_TRUE(made == alone) << threads << " threads";
  }
  return alone;
}

TEST(ParallelMaking, TheFileIsTheSameForOneTwoAndFourThreads) {
  segmentproject pr(true, true, 13 * 40);  // 13 frames: not a multiple of any thread count
  // A video with its own sound, under a half-transparent picture in picture of itself, read by
  // each composer on its own.
  const fixtures::media_recipe v{.video_codec = "rawvideo",
                                 .pix_fmt = "bgr24",
                                 .gradient = true,
                                 .width = 96,
                                 .height = 72,
                                 .frames = 20,
                                 .audio_codec = "pcm_s16le",
                                 .audio_rate = 44100,
                                 .audio_samples = 44100};
  const std::string video = fixtures::WriteTempMedia("parallel.avi", v);
  clip *pip = pr.p->AddMedia(pr.root(), video.c_str(), 40, 0);
  ASSERT_TRUE(pip && pr.p->AddMedia(pr.root(), video.c_str(), 0, 4));
  SetDst(pip, 0, frac{0.1, 0.2, 0.55, 0.7});
  Key(pip, clipvar::IDS_START_OPACITY, 0, 0.6);
  const std::string saved = pr.dir.file("parallel.vmp");
  ASSERT_TRUE(pr.p->Save(saved.c_str()) && pr.p->Load(saved.c_str()));
  EXPECT_GT(SameForOneTwoAndFourThreads(pr, saved, "avi", "raw").size(), size_t(13 * 160 * 120 * 3));

  // Sound alone, mixed ahead in chunks of frames: 2.9 s is several rounds of them and ends
  // inside one.
  segmentproject heard(false, true, 2900);
  const std::string wav = heard.dir.file("heard.vmp");
  ASSERT_TRUE(heard.p->Save(wav.c_str()) && heard.p->Load(wav.c_str()));
  EXPECT_GT(SameForOneTwoAndFourThreads(heard, wav, "wav", nullptr).size(), size_t(2.8 * 44100 * 4));
}
