#!/usr/bin/env bash
# Bad input as a new user gives it: each ends with one clear line on stderr and status 1 (never
# a signal or a core dump), and nothing the user had is lost.
# Usage: badinput_test.sh LUMIVAXEL BUILD_DEMO
set -u
lv="$1"
builder="$2"
. "$(dirname "$0")/clitest.sh" bad
ulimit -c 0
demo_project "$builder" || exit 1
project="$dir/demo.vmp"

# Projects that are no projects: a folder, a picture named .vmp (every cut of a project is the
# engine tests' part).
mkdir "$dir/folder.vmp"
cp "$dir/poster.bmp" "$dir/picture.vmp"
for bad in folder picture; do
  check "$bad project" 1 "$lv" frame "$dir/$bad.vmp" -o "$dir/x.png"; expect_line "not a readable project"
  [ -e "$dir/x.png" ] && fail "$bad project wrote a picture"
done

# Output that cannot be written: a missing folder, a folder where no file can be made.
check "frame into a missing folder" 1 "$lv" frame "$project" -o "$dir/none/x.png"; expect_line "none/x.png"
check "frame into /proc" 1 "$lv" frame "$project" -o /proc/lv-x.bmp; expect_line "lv-x.bmp"
check "make into a missing folder" 1 "$lv" make "$project" -o "$dir/none/m.avi" --to 0.2; expect_line "none/m.avi"
check "make into /proc" 1 "$lv" make "$project" -o /proc/lv-m.avi --to 0.2; expect_line "lv-m.avi"

# Ctrl-C while a macro saves over the project again and again: the project stays whole and no
# temporary file is left beside it.
cp "$project" "$dir/keep.vmp"
"$lv" run -e "loop { Arrangement Save $dir/keep.vmp }" --project "$dir/keep.vmp" > /dev/null 2>&1 &
pid=$!
sleep 0.5
interrupt "$pid"
[ "$got" = 1 ] || fail "Ctrl-C while saving gave status $got"
check "project saved before Ctrl-C" 0 "$lv" info "$dir/keep.vmp"
ls -a "$dir" | grep -q lvsave && fail "a temporary save file was left"

# Plugin libraries that are no plugins: not a library at all, and an entry that answers null.
mkdir "$dir/plugins"
printf 'not a library' > "$dir/plugins/junk.so"
printf 'void *LumiVaxelExportPlugin(void) { return 0; }\n' > "$dir/null.c"
cc -shared -fPIC -o "$dir/plugins/null.so" "$dir/null.c" || exit 1
check "plugins beside no plugins" 0 env LUMIVAXEL_PLUGIN_PATH="$dir/plugins" "$lv" plugins
grep -q 'avi.so' "$dir/stdout" || fail "the real plugins were lost among bad ones"
check "make with bad plugins" 1 env LUMIVAXEL_PLUGIN_PATH="$dir/plugins" "$lv" make "$project" -o "$dir/m.xyz"
expect_line "no export plugin writes"

# Media that cannot be read (absurd header sizes, a cut video): the project still opens and makes,
# and a warning line names each such medium.
python3 - "$dir" <<'PY'
import struct, sys
d = sys.argv[1]
# A BMP claiming 1 000 000 000 x 1 000 000 000 pixels of 32 bits.
info = struct.pack('<IiiHHIIiiII', 40, 10**9, 10**9, 1, 32, 0, 0, 0, 0, 0, 0)
open(d + '/huge.bmp', 'wb').write(b'BM' + struct.pack('<IHHI', 54 + 16, 0, 0, 54) + info + bytes(16))
# A WAV whose data chunk claims 4 GB.
fmt = struct.pack('<HHIIHH', 1, 2, 48000, 192000, 4, 16)
open(d + '/huge.wav', 'wb').write(b'RIFF' + struct.pack('<I', 0xFFFFFFF0) + b'WAVEfmt ' + struct.pack('<I', 16) + fmt
                                  + b'data' + struct.pack('<I', 0xFFFFFFF0) + bytes(64))
PY
cp "$dir/huge.bmp" "$dir/poster.bmp"
cp "$dir/huge.wav" "$dir/tone.wav"
head -c 3000 "$dir/video.avi" > "$dir/v" && mv "$dir/v" "$dir/video.avi"
check "frame with unreadable media" 0 "$lv" frame "$project" --at 1 -o "$dir/y.png"
for m in poster.bmp video.avi; do  # the WAV reads as the samples that are there
  [ "$(grep -c "warning: .*$m cannot be read" "$dir/stderr")" = 1 ] || { fail "no one warning for $m:"; cat "$dir/stderr"; }
done
check "make with unreadable media" 0 "$lv" make "$project" -o "$dir/y.avi" --to 0.4
ffprobe -v error "$dir/y.avi" || fail "the video made with unreadable media is unreadable"

[ "$failures" = 0 ] && echo "badinput: all checks passed"
exit "$failures"
