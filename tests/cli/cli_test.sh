#!/usr/bin/env bash
# The host program end to end: exit statuses, one-line errors, and the demo project built,
# described and rendered to BMP and PNG.
# Usage: cli_test.sh LUMIVAXEL BUILD_DEMO
set -u
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

# Media moved next to the project are found again by name.
mkdir "$dir/moved" && mv "$dir/demo.vmp" "$dir/poster.bmp" "$dir/greenscreen.bmp" "$dir/tone.wav" "$dir/video.avi" "$dir/moved/"
check "moved media" 0 "$lv" frame "$dir/moved/demo.vmp" --at 1.5 --yes -o "$dir/g.png"
cmp -s "$dir/f.png" "$dir/g.png" || { echo "FAIL: moved media were not found again"; failures=$((failures + 1)); }
# Without --yes the engine asks, is answered no, and the clips stay marked: another picture.
check "moved media refused" 0 "$lv" frame "$dir/moved/demo.vmp" --at 1.5 -o "$dir/h.png"
cmp -s "$dir/f.png" "$dir/h.png" && { echo "FAIL: refused media still shown"; failures=$((failures + 1)); }

[ "$failures" = 0 ] && echo "cli: all checks passed"
exit "$failures"
