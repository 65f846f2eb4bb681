#!/usr/bin/env bash
# The host program end to end: exit statuses, one-line errors, and the demo project built,
# described, rendered to BMP and PNG and made to AVI and MP4; macros run, and the demo built by
# examples/demo.lvm rendering the same frames.
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
check "make shorter than a frame" 1 "$lv" make "$dir/demo.vmp" -o "$dir/short.avi" --from 1 --to 1.02
expect_line "shorter than one frame"
[ -e "$dir/short.avi" ] && { echo "FAIL: a make without frames wrote a file"; failures=$((failures + 1)); }
# The demo (text, gradient, keyed still, video) made on three composers is the file made alone.
check "make one thread" 0 "$lv" make "$dir/demo.vmp" -o "$dir/t1.avi" --option codec=raw --to 1 --threads 1
check "make three threads" 0 "$lv" make "$dir/demo.vmp" -o "$dir/t3.avi" --option codec=raw --to 1 --threads 3
cmp -s "$dir/t1.avi" "$dir/t3.avi" || { echo "FAIL: --threads 3 made another file"; failures=$((failures + 1)); }
check "segment one thread" 0 "$lv" make "$dir/demo.vmp" -o "$dir/s1.avi" --option codec=raw --to 1 --frames 5:12 --threads 1
check "segment two threads" 0 "$lv" make "$dir/demo.vmp" -o "$dir/s2.avi" --option codec=raw --to 1 --frames 5:12 --threads 2
cmp -s "$dir/s1.avi" "$dir/s2.avi" || { echo "FAIL: a segment on two threads is another file"; failures=$((failures + 1)); }
check "make no threads" 1 "$lv" make "$dir/demo.vmp" -o "$dir/t0.avi" --threads 0; expect_line "threads takes a whole number"
check "make unknown type" 1 "$lv" make "$dir/demo.vmp" -o "$dir/m.xyz"; expect_line "no export plugin writes"
check "make unknown format" 1 "$lv" make "$dir/demo.vmp" -o "$dir/m.avi" --format nosuch; expect_line "no export plugin called nosuch"
# Segments: refusals of make --frames, and two halves joined into the whole.
check "frames malformed" 1 "$lv" make "$dir/demo.vmp" -o "$dir/s.avi" --to 2 --frames 5; expect_line "takes A:B"
check "frames past the end" 1 "$lv" make "$dir/demo.vmp" -o "$dir/s.avi" --to 2 --frames 40:60; expect_line "reaches past the 50 frames"
check "segment 1" 0 "$lv" make "$dir/demo.vmp" -o "$dir/s1.avi" --to 2 --frames 0:20
check "segment 2" 0 "$lv" make "$dir/demo.vmp" -o "$dir/s2.avi" --to 2 --frames 20:50
check "join" 0 "$lv" join "$dir/s2.avi" "$dir/s1.avi" -o "$dir/s.avi"
cmp -s "$dir/s.avi" "$dir/m.avi" || { echo "FAIL: the joined halves differ from the whole"; failures=$((failures + 1)); }
check "join a gap" 1 "$lv" join "$dir/s2.avi" -o "$dir/t.avi"; expect_line "frames 0:20 are in no part"
check "join no segment" 1 "$lv" join "$dir/s1.avi" "$dir/m.avi" -o "$dir/t.avi"; expect_line "is no segment"
check "farm too many segments" 1 "$lv" farm "$dir/demo.vmp" -o "$dir/f.avi" --segments 500; expect_line "more than the 200 frames"
check "farm dry run" 0 "$lv" farm "$dir/demo.vmp" -o "$dir/f.avi" --segments 3 --sbatch-arg=--time=5 --dry-run
grep -q '^#SBATCH --time=5' "$dir/stdout" && grep -q 'frames=(0:66 66:133 133:200)' "$dir/stdout" ||
  { echo "FAIL: farm's scripts:"; cat "$dir/stdout"; failures=$((failures + 1)); }

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

# A full disk (a file-size limit far below one raw frame): one clear line and status 1, not a
# death by signal.
check "make onto a full disk" 1 bash -c 'ulimit -f 200; exec "$0" make "$1" -o "$2" --option codec=raw' \
  "$lv" "$dir/demo.vmp" "$dir/full.avi"
expect_line "failed"

# Macros: the return value on stdout, one line on stderr for a failing clause.
check "run help" 0 "$lv" run --help
check "run -e" 0 "$lv" run -e 'x = 5 ; x += 2 ; return x'
[ "$(cat "$dir/stdout")" = "7.000000" ] || { echo "FAIL: run -e printed $(cat "$dir/stdout")"; failures=$((failures + 1)); }
check "run failing clause" 1 "$lv" run -e 'y = 1 ; y /= 0 ; return y'; expect_line "clause 3 (y /= 0): Divide by 0 Error!"
check "run clause budget" 1 "$lv" run -e 'loop { a = 1 }' --max-clauses 50; expect_line "Stopped after 50 clauses"
check "run missing script" 1 "$lv" run "$dir/none.lvm"; expect_line "no such script"
printf 'return no tag\n' > "$dir/notag.lvm"
check "run untagged script" 1 "$lv" run "$dir/notag.lvm"; expect_line "is no macro"
# A script calls one beside it, whatever the current folder; arguments arrive as arg1, ...
mkdir "$dir/scripts"
printf '<lvm>\n s = arg1 ; s += arg2 ; return s\n' > "$dir/scripts/add.lvm"
printf '<LVM> r = call add.lvm $arg1 -2 ; n = title GetName ; return r n\n' > "$dir/scripts/main.lvm"
check "run script" 0 "$lv" run "$dir/scripts/main.lvm" 5 --project "$dir/demo.vmp"
[ "$(cat "$dir/stdout")" = "3.000000 Title" ] || { echo "FAIL: run script printed $(cat "$dir/stdout")"; failures=$((failures + 1)); }
# Ctrl-C stops a running macro between two clauses.
"$lv" run -e 'loop { !MilliTicksWait 5 }' > /dev/null 2> "$dir/stderr" &
pid=$!
sleep 0.3
for _ in $(seq 50); do kill -INT "$pid" 2> /dev/null || break; sleep 0.2; done  # again until it ends: see badinput_test.sh
wait "$pid"; got=$?
[ "$got" = 1 ] && grep -q "Stopped by the user" "$dir/stderr" || { echo "FAIL: Ctrl-C gave status $got"; failures=$((failures + 1)); }
# The demo built by its macro renders the same frames as the demo built in C++.
demo_lvm="$(cd "$(dirname "$0")/../.." && pwd)/examples/demo.lvm"
check "demo macro" 0 "$lv" run "$demo_lvm" "$dir" "$dir/video.avi" "$dir/macro.avi"
[ "$(cat "$dir/stdout")" = "$dir/demo-macro.vmp" ] || { echo "FAIL: demo macro printed $(cat "$dir/stdout")"; failures=$((failures + 1)); }
[ -s "$dir/macro.avi" ] || { echo "FAIL: the demo macro made no video"; failures=$((failures + 1)); }
for at in 0 0.7 1.6 3 5.2 6.9 7.9; do
  "$lv" frame "$dir/demo.vmp" --at "$at" -o "$dir/c.bmp" && "$lv" frame "$dir/demo-macro.vmp" --at "$at" -o "$dir/m.bmp" &&
    cmp -s "$dir/c.bmp" "$dir/m.bmp" || { echo "FAIL: the demo macro's frame at $at s differs"; failures=$((failures + 1)); }
done

# Media moved next to the project are found again by name.
mkdir "$dir/moved" && mv "$dir/demo.vmp" "$dir/poster.bmp" "$dir/greenscreen.bmp" "$dir/tone.wav" "$dir/video.avi" "$dir/moved/"
check "moved media" 0 "$lv" frame "$dir/moved/demo.vmp" --at 1.5 --yes -o "$dir/g.png"
cmp -s "$dir/f.png" "$dir/g.png" || { echo "FAIL: moved media were not found again"; failures=$((failures + 1)); }
# Without --yes the engine asks, is answered no, and the clips stay marked: another picture.
check "moved media refused" 0 "$lv" frame "$dir/moved/demo.vmp" --at 1.5 -o "$dir/h.png"
cmp -s "$dir/f.png" "$dir/h.png" && { echo "FAIL: refused media still shown"; failures=$((failures + 1)); }

[ "$failures" = 0 ] && echo "cli: all checks passed"
exit "$failures"
