#!/usr/bin/env bash
# The host program end to end: exit statuses, one-line errors, the demo project described,
# rendered, made, cut into segments and joined; macros, and the demo built by examples/demo.lvm.
# Usage: cli_test.sh LUMIVAXEL BUILD_DEMO
set -u
lv="$1"
builder="$2"
. "$(dirname "$0")/clitest.sh" cli

for command in "" frame info preview make run; do check "$command help" 0 "$lv" $command --help; done
check "no command" 1 "$lv"
check "unknown command" 1 "$lv" nosuch; expect_line "unknown command nosuch"
check "preview bad size" 1 "$lv" preview "$dir/none.vmp" --size 2x; expect_line "size takes the"
check "missing project" 1 "$lv" info "$dir/none.vmp"; expect_line "no such project"
printf 'not a project' > "$dir/junk.vmp"
check "damaged project" 1 "$lv" info "$dir/junk.vmp"; expect_line "not a readable project"
check "unknown option" 1 "$lv" frame "$dir/junk.vmp" --bogus; expect_line "unknown option --bogus"
check "bad time" 1 "$lv" frame "$dir/junk.vmp" --at soon -o "$dir/a.png"; expect_line "seconds"

demo_project "$builder" || { echo "FAIL: the demo project could not be built"; exit 1; }
check "info" 0 "$lv" info "$dir/demo.vmp"
grep -q 'video effect 1: 29 Chroma Key' "$dir/stdout" || fail "info lacks the chroma key"
check "frame png" 0 "$lv" frame "$dir/demo.vmp" --at 1.5 -o "$dir/f.png"
check "frame bmp" 0 "$lv" frame "$dir/demo.vmp" --at=1.5 -o "$dir/f.bmp"
check "frame bad extension" 1 "$lv" frame "$dir/demo.vmp" -o "$dir/f.gif"; expect_line ".bmp or .png"
# The BMP is the 640 x 480 picture: 54 header bytes and 480 rows of 1920 bytes.
[ "$(stat -c %s "$dir/f.bmp")" = $((54 + 480 * 1920)) ] || fail "BMP size"
size=$(ffprobe -v error -show_entries stream=width,height -of csv=p=0 "$dir/f.png")
[ "$size" = "640,480" ] || fail "PNG size $size"

# Making: the whole two seconds to MJPEG AVI, a second to MP4, and refusals.
check "plugins" 0 "$lv" plugins
grep -q 'avi.so' "$dir/stdout" || fail "plugins lacks avi.so"
check "make avi" 0 "$lv" make "$dir/demo.vmp" -o "$dir/m.avi" --to 2
info=$(ffprobe -v error -select_streams v -show_entries stream=width,height,nb_frames -of csv=p=0 "$dir/m.avi")
[ "$info" = "640,480,50" ] || fail "made AVI is $info"
check "make mp4 by name" 0 "$lv" make "$dir/demo.vmp" -o "$dir/m.any" --format mp4 --from 0.5 --to 1
[ -s "$dir/m.mp4" ] || fail "--format mp4 made no m.mp4"
check "make shorter than a frame" 1 "$lv" make "$dir/demo.vmp" -o "$dir/short.avi" --from 1 --to 1.02
expect_line "shorter than one frame"
[ -e "$dir/short.avi" ] && fail "a make without frames wrote a file"
check "make no threads" 1 "$lv" make "$dir/demo.vmp" -o "$dir/t0.avi" --threads 0; expect_line "threads takes a whole number"
check "make unknown type" 1 "$lv" make "$dir/demo.vmp" -o "$dir/m.xyz"; expect_line "no export plugin writes"
check "make unknown format" 1 "$lv" make "$dir/demo.vmp" -o "$dir/m.avi" --format nosuch; expect_line "no export plugin called nosuch"
# Segments: refusals of make --frames, and two halves (one made on two composers) joined into the
# whole.
check "frames malformed" 1 "$lv" make "$dir/demo.vmp" -o "$dir/s.avi" --to 2 --frames 5; expect_line "takes A:B"
check "frames past the end" 1 "$lv" make "$dir/demo.vmp" -o "$dir/s.avi" --to 2 --frames 40:60; expect_line "reaches past the 50 frames"
check "segment 1" 0 "$lv" make "$dir/demo.vmp" -o "$dir/s1.avi" --to 2 --frames 0:20
check "segment 2" 0 "$lv" make "$dir/demo.vmp" -o "$dir/s2.avi" --to 2 --frames 20:50 --threads 2
check "join" 0 "$lv" join "$dir/s2.avi" "$dir/s1.avi" -o "$dir/s.avi"
cmp -s "$dir/s.avi" "$dir/m.avi" || fail "the joined halves differ from the whole"
check "join a gap" 1 "$lv" join "$dir/s2.avi" -o "$dir/t.avi"; expect_line "frames 0:20 are in no part"
check "farm too many segments" 1 "$lv" farm "$dir/demo.vmp" -o "$dir/f.avi" --segments 500; expect_line "more than the 200 frames"
check "farm dry run" 0 "$lv" farm "$dir/demo.vmp" -o "$dir/f.avi" --segments 3 --sbatch-arg=--time=5 --dry-run
grep -q '^#SBATCH --time=5' "$dir/stdout" && grep -q 'frames=(0:66 66:133 133:200)' "$dir/stdout" ||
  { fail "farm's scripts:"; cat "$dir/stdout"; }

# Ctrl-C after the first progress line: a closed file of the frames made so far, status 1.
"$lv" make "$dir/demo.vmp" -o "$dir/i.avi" --option codec=raw 2> "$dir/stderr" &
pid=$!
for _ in $(seq 200); do grep -q frames "$dir/stderr" 2>/dev/null && break; sleep 0.02; done
interrupt "$pid"
if [ "$got" = 1 ]; then
  grep -q interrupted "$dir/stderr" || fail "no interrupted line"
  ffprobe -v error "$dir/i.avi" || fail "the interrupted AVI is unreadable"
elif [ "$got" != 0 ]; then  # 0: it finished before the signal came
  fail "interrupted make status $got"
fi

# A full disk (a file-size limit far below one raw frame): one clear line and status 1, not a
# death by signal.
check "make onto a full disk" 1 bash -c 'ulimit -f 200; exec "$0" make "$1" -o "$2" --option codec=raw' \
  "$lv" "$dir/demo.vmp" "$dir/full.avi"
expect_line "failed"

# Macros: the return value on stdout, one line on stderr for a failing clause.
check "run -e" 0 "$lv" run -e 'x = 5 ; x += 2 ; return x'
[ "$(cat "$dir/stdout")" = "7.000000" ] || fail "run -e printed $(cat "$dir/stdout")"
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
[ "$(cat "$dir/stdout")" = "3.000000 Title" ] || fail "run script printed $(cat "$dir/stdout")"
# Ctrl-C stops a running macro between two clauses.
"$lv" run -e 'loop { !MilliTicksWait 5 }' > /dev/null 2> "$dir/stderr" &
pid=$!
sleep 0.3
interrupt "$pid"
[ "$got" = 1 ] && grep -q "Stopped by the user" "$dir/stderr" || fail "Ctrl-C gave status $got"
# The demo built by its macro renders the same frames as the demo built in C++.
demo_lvm="$(cd "$(dirname "$0")/../.." && pwd)/examples/demo.lvm"
check "demo macro" 0 "$lv" run "$demo_lvm" "$dir" "$dir/video.avi" "$dir/macro.avi"
[ "$(cat "$dir/stdout")" = "$dir/demo-macro.vmp" ] || fail "demo macro printed $(cat "$dir/stdout")"
[ -s "$dir/macro.avi" ] || fail "the demo macro made no video"
for at in 0 0.7 1.6 3 5.2 6.9 7.9; do
  "$lv" frame "$dir/demo.vmp" --at "$at" -o "$dir/c.bmp" && "$lv" frame "$dir/demo-macro.vmp" --at "$at" -o "$dir/m.bmp" &&
    cmp -s "$dir/c.bmp" "$dir/m.bmp" || fail "the demo macro's frame at $at s differs"
done

# Media moved next to the project are found again by name.
mkdir "$dir/moved" && mv "$dir/demo.vmp" "$dir/poster.bmp" "$dir/greenscreen.bmp" "$dir/tone.wav" "$dir/video.avi" "$dir/moved/"
check "moved media" 0 "$lv" frame "$dir/moved/demo.vmp" --at 1.5 --yes -o "$dir/g.png"
cmp -s "$dir/f.png" "$dir/g.png" || fail "moved media were not found again"
# Without --yes the engine asks, is answered no, and the clips stay marked: another picture.
check "moved media refused" 0 "$lv" frame "$dir/moved/demo.vmp" --at 1.5 -o "$dir/h.png"
cmp -s "$dir/f.png" "$dir/h.png" && fail "refused media still shown"

[ "$failures" = 0 ] && echo "cli: all checks passed"
exit "$failures"
