#!/usr/bin/env bash
# The host program end to end: exit statuses, one-line errors, and the demo project built,
# described, rendered to BMP and PNG and made to AVI and MP4.
# Usage: cli_test.sh LUMIVAXEL BUILD_DEMO
set -u
# Leak reports of a sanitizer build must not add lines to the one-line errors checked here.
export LSAN_OPTIONS="${LSAN_OPTIONS:+$LSAN_OPTIONS:}print_suppressions=0"
lv="$1"
builder="$2"
dir="$(mktemp -d /tmp/lv-cli-XXXXXX)"
trap 'rm -rf "$dir"' EXIT
failures=0
check() {  # check DESCRIPTION EXPECTED_STATUS COMMAND...
  local what="$1" want="$2"
  shift 2
  "$@" > "$dir/stdout" 2> "$dir/stderr"
  local got=$?
  if [ "$got" != "$want" ]; then
    echo "FAIL: $what: status $got, wanted $want"; cat "$dir/stderr"; failures=$((failures + 1))
  fi
}
expect_line() {  # the failure is one line on stderr that mentions TEXT
  if [ "$(wc -l < "$dir/stderr")" != 1 ] || ! grep -q "$1" "$dir/stderr"; then
    echo "FAIL: stderr should be one line about '$1':"; cat "$dir/stderr"; failures=$((failures + 1))
  fi
}

check "help" 0 "$lv" --help
check "no command" 1 "$lv"
check "unknown command" 1 "$lv" nosuch; expect_line "unknown command nosuch"
check "frame help" 0 "$lv" frame --help
check "info help" 0 "$lv" info --help
check "preview help" 0 "$lv" preview --help
check "preview bad size" 1 "$lv" preview "$dir/none.vmp" --size 2x; expect_line "size takes the"
check "missing project" 1 "$lv" info "$dir/none.vmp"; expect_line "no such project"
printf 'not a project' > "$dir/junk.vmp"
check "damaged project" 1 "$lv" info "$dir/junk.vmp"; expect_line "not a readable project"
check "unknown option" 1 "$lv" frame "$dir/junk.vmp" --bogus; expect_line "unknown option --bogus"
check "bad time" 1 "$lv" frame "$dir/junk.vmp" --at soon -o "$dir/a.png"; expect_line "seconds"

ffmpeg -loglevel error -y -f lavfi -i "testsrc2=size=160x120:rate=25" -t 2 -c:v mjpeg "$dir/video.avi" || exit 1
check "build demo" 0 "$builder" "$dir" "$dir/video.avi"
check "info" 0 "$lv" info "$dir/demo.vmp"
grep -q 'video effect 1: 29 Chroma Key' "$dir/stdout" || { echo "FAIL: info lacks the chroma key"; failures=$((failures + 1)); }
check "frame png" 0 "$lv" frame "$dir/demo.vmp" --at 1.5 -o "$dir/f.png"
check "frame bmp" 0 "$lv" frame "$dir/demo.vmp" --at=1.5 -o "$dir/f.bmp"
check "frame bad extension" 1 "$lv" frame "$dir/demo.vmp" -o "$dir/f.gif"; expect_line ".bmp or .png"
# The BMP is the 640 x 480 picture: 54 header bytes and 480 rows of 1920 bytes.
[ "$(stat -c %s "$dir/f.bmp")" = $((54 + 480 * 1920)) ] || { echo "FAIL: BMP size"; failures=$((failures + 1)); }
size=$(ffprobe -v error -show_entries stream=width,height -of csv=p=0 "$dir/f.png")
[ "$size" = "640,480" ] || { echo "FAIL: PNG size $size"; failures=$((failures + 1)); }

# Making: the whole two seconds to MJPEG AVI, a second to MP4, and refusals.
check "make help" 0 "$lv" make --help
check "plugins" 0 "$lv" plugins
grep -q 'avi.so' "$dir/stdout" || { echo "FAIL: plugins lacks avi.so"; failures=$((failures + 1)); }
check "make avi" 0 "$lv" make "$dir/demo.vmp" -o "$dir/m.avi" --to 2
info=$(ffprobe -v error -select_streams v -show_entries stream=width,height,nb_frames -of csv=p=0 "$dir/m.avi")
[ "$info" = "640,480,50" ] || { echo "FAIL: made AVI is $info"; failures=$((failures + 1)); }
check "make mp4 by name" 0 "$lv" make "$dir/demo.vmp" -o "$dir/m.any" --format mp4 --from 0.5 --to 1
[ -s "$dir/m.mp4" ] || { echo "FAIL: --format mp4 made no m.mp4"; failures=$((failures + 1)); }
check "make unknown type" 1 "$lv" make "$dir/demo.vmp" -o "$dir/m.xyz"; expect_line "no export plugin writes"
check "make unknown format" 1 "$lv" make "$dir/demo.vmp" -o "$dir/m.avi" --format nosuch; expect_line "no export plugin called nosuch"
# Ctrl-C after the first progress line: a closed file of the frames made so far, status 1.
"$lv" make "$dir/demo.vmp" -o "$dir/i.avi" --option codec=raw 2> "$dir/stderr" &
pid=$!
for _ in $(seq 200); do grep -q frames "$dir/stderr" 2>/dev/null && break; sleep 0.02; done
kill -INT "$pid"; wait "$pid"; got=$?
if [ "$got" = 1 ]; then
  grep -q interrupted "$dir/stderr" || { echo "FAIL: no interrupted line"; failures=$((failures + 1)); }
  ffprobe -v error "$dir/i.avi" || { echo "FAIL: the interrupted AVI is unreadable"; failures=$((failures + 1)); }
elif [ "$got" != 0 ]; then  # 0: it finished before the signal came
  echo "FAIL: interrupted make status $got"; failures=$((failures + 1))
fi

# Media moved next to the project are found again by name.
mkdir "$dir/moved" && mv "$dir/demo.vmp" "$dir/poster.bmp" "$dir/greenscreen.bmp" "$dir/tone.wav" "$dir/video.avi" "$dir/moved/"
check "moved media" 0 "$lv" frame "$dir/moved/demo.vmp" --at 1.5 --yes -o "$dir/g.png"
cmp -s "$dir/f.png" "$dir/g.png" || { echo "FAIL: moved media were not found again"; failures=$((failures + 1)); }
# Without --yes the engine asks, is answered no, and the clips stay marked: another picture.
check "moved media refused" 0 "$lv" frame "$dir/moved/demo.vmp" --at 1.5 -o "$dir/h.png"
cmp -s "$dir/f.png" "$dir/h.png" && { echo "FAIL: refused media still shown"; failures=$((failures + 1)); }

[ "$failures" = 0 ] && echo "cli: all checks passed"
exit "$failures"
