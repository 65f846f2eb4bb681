#!/usr/bin/env bash
# The preview window end to end under a private Xvfb: the paused picture against `frame`, keys
# read back from the window's title, and ten seconds played with the sound against `make`.
# Usage: preview_test.sh LUMIVAXEL BUILD_DEMO
set -u
lv="$1"
builder="$2"
. "$(dirname "$0")/../support/windowtest.sh"
window_test_start preview

ffmpeg -loglevel error -y -f lavfi -i "testsrc2=size=160x120:rate=25" -t 2 -c:v mjpeg video.avi || exit 1
"$builder" "$dir" video.avi 12 > /dev/null || exit 1

# start ARGS...: the preview in the background, its window id in $win.
start() {
  "$lv" preview demo.vmp "$@" > out.txt 2> err.txt &
  app=$!
  window_of '^demo\.vmp - ' || { fail "no preview window for $*: $(cat err.txt)"; return 1; }
}
finish() {  # Q, then the exit status must be 0
  key q
  ended
  [ "$status" = 0 ] || fail "preview exit status $status: $(cat err.txt)"
}
# rgb PICTURE FILTER OUT: the picture (through the filter, if any) as raw RGB bytes.
rgb() { ffmpeg -loglevel error -y -i "$1" ${2:+-vf "$2"} -f rawvideo -pix_fmt rgb24 "$3"; }

# Paused at 1 s: the window shows exactly what `frame` writes; then the keys.
export SDL_AUDIODRIVER=dummy
"$lv" frame demo.vmp --at 1 -o frame.png || fail "frame"
if start --at 1 --paused; then
  waitfor 'paused  0:01\.000  frame 25 '
  key F12
  for _ in $(seq 300); do [ -s preview-25.png ] && break; sleep 0.1; done
  rgb preview-25.png crop=640:480:0:0 shot.rgb && rgb frame.png "" frame.rgb
  cmp -s shot.rgb frame.rgb || fail "the paused window differs from the frame at 1 s"
  key Right; waitfor 'frame 26 '
  key shift+Right; waitfor '0:02\.040  frame 51 '
  key Left; waitfor '0:02\.000  frame 50 '
  key Home; waitfor 'paused  0:00\.000  frame 0 '
  key End; waitfor 'frame 300 '
  # A second before the end: playing stops on the last frame.
  key shift+Left; waitfor '0:11\.000  frame 275 '
  key space; waitfor '^demo\.vmp - paused  0:11\.960  frame 299 '
  key Home; key space; waitfor '^demo\.vmp - playing'
  waitfor 'frame ([2-9][0-9]|1[0-9][0-9]) '
  key space; waitfor '^demo\.vmp - paused'
  key l l; waitfor 'forward x2'
  key j; waitfor 'reverse x1'
  key j; waitfor 'reverse x2'
  key k; waitfor 'paused'
  # The test video on its own (the second clip), and back to the composite where it was.
  key Home; key Tab; waitfor 'current clip: Test video'
  key m; waitfor '^demo\.vmp - media  0:00\.[1-9]'
  key k; waitfor '^demo\.vmp - paused  0:00\.000  frame 0 '
  finish
fi

# Half the size: the picture is the frame scaled into the window.
if start --at 1 --paused --size 320x240; then
  waitfor 'frame 25 '
  key F12
  for _ in $(seq 300); do [ -s preview-25.png ] && [ preview-25.png -nt shot.rgb ] && break; sleep 0.1; done
  rgb preview-25.png crop=320:240:0:0 small.rgb && rgb frame.png scale=320:240:flags=bilinear small-ref.rgb
  python3 - small.rgb small-ref.rgb << 'PY' || fail "the half-size window is not the frame scaled"
import sys
a, b = open(sys.argv[1], 'rb').read(), open(sys.argv[2], 'rb').read()
mean = sum(abs(x - y) for x, y in zip(a, b)) / max(len(a), 1)
sys.exit(0 if len(a) == len(b) == 320 * 240 * 3 and mean < 6 else 1)
PY
  finish
fi

# Ten seconds played through the disk driver: the first two equal the sound made over 0..2 s.
# How closely the picture kept to the sound is printed, not judged: on a shared machine it
# measures the load (the play job's pacing is checked by the engine's unit tests).
"$lv" make demo.vmp -o made.avi --to 2 --option codec=raw > /dev/null 2>&1 || fail "make"
ffmpeg -loglevel error -y -i made.avi -vn -f s16le -c:a pcm_s16le made.raw
if SDL_AUDIODRIVER=disk SDL_DISKAUDIOFILE="$dir/played.raw" start; then
  waitfor 'playing  0:10' 20
  finish
  echo "ten seconds: $(cat out.txt)"
  [ "$(head -c 352800 played.raw | cmp - made.raw 2>&1)" = "" ] && [ "$(stat -c %s made.raw)" = 352800 ] ||
    fail "the sound played differs from the sound made"
fi

[ "$failures" = 0 ] && echo "preview: all checks passed"
exit "$failures"
