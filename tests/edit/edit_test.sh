#!/usr/bin/env bash
# The editing window end to end under a private Xvfb, driven with xdotool. Every check reads the
# saved project back with `lumivaxel info`, never the screen; nothing is judged by time: each step
# waits (generously) for the window's title or the file.
# Usage: edit_test.sh LUMIVAXEL     (exit 77, skipped, without Xvfb or xdotool)
set -u
lv="$1"
. "$(dirname "$0")/../support/windowtest.sh"
window_test_start edit

# A small project: a gradient on track 0 for 10 s, a title on track 1 from 2 s for 3 s.
"$lv" run -e 'Arrangement SetFormat 320 240 ; Arrangement SetFps 25 ; Arrangement SetLength 10 ;
  Arrangement AddGradient Back 0 0 10 ; Arrangement AddText Title 1 2 3 Hello ; Arrangement Save p.vmp' > /dev/null ||
  { echo "FAIL: the project could not be built"; exit 1; }

"$lv" edit p.vmp --size 1000x700 --verbose > out.txt 2> err.txt &
app=$!
window_of '^p\.vmp' || { echo "FAIL: no editing window: $(cat err.txt)"; exit 1; }
keypause=0.2
at() { xdotool mousemove --window "$win" "$1" "$2" 2> /dev/null; sleep 0.2; }
drag() {
  at "$1" "$2"
  xdotool mousedown 1; sleep 0.2
  for i in 1 2 3 4; do at $(($1 + ($3 - $1) * i / 4)) $(($2 + ($4 - $2) * i / 4)); done
  xdotool mouseup 1; sleep 0.3
}
click() { at "$1" "$2"; xdotool click "${3:-1}"; sleep 0.3; }
save() {  # save [QUESTION]: Ctrl+S (answering the question), then the title says so
  key ctrl+s
  [ -n "${1:-}" ] && { waitfor "$1" && key Return; }
  waitfor '^p\.vmp - Saved'
}
info() { "$lv" info p.vmp; }
layout() { grep "^layout $1" out.txt | tail -1; }
waitfor '^p\.vmp - Ready'
for _ in $(seq 100); do [ -n "$(layout 'clip "Title"')" ] && break; sleep 0.1; done

# Drag the title 73 columns right: its start moves by 73 * span / width, truncated.
read -r _ _ al at_ ar ab _ span _ _ _ _ <<< "$(layout arrangement)"
read -r _ _ _ l t r b _ _ <<< "$(layout 'clip "Title"')"
dx=73
drag $(((l + r) / 2)) $(((t + b) / 2)) $(((l + r) / 2 + dx)) $(((t + b) / 2))
waitfor '^p\.vmp\* - '
save
delta=$((dx * span / (ar - al)))
start=$(python3 -c "print('%.3f' % ((2000 + $delta) / 1000))")
info | grep -q "track 1: text \"Title\" at $start s for 3.000 s" || fail "drag by $dx columns (delta $delta): $(info | grep Title)"

# A click on the shown curve of the title keys it (where it lands is the engine tests' part).
read -r _ _ name cl ct cr cb _ <<< "$(layout curve)"
click $((cl + (cr - cl) * 3 / 10)) $((ct + (cb - ct) / 4))
waitfor '^p\.vmp\* - '
save ' - Question$'
info | grep -q "^ *$name: [0-9.]*=[-0-9.e]*$" || fail "no key on $name: $(info)"

# The effect menu: F10, five menus to the right (Effect), Add, Basic Effects, its first (Opacity).
key F10; key Right Right Right Right Right; key Right; key Right; key Return
waitfor '^p\.vmp\* - '
save
info | grep -q "video effect 1: 103 Opacity" || fail "no effect added from the menu: $(info)"

# Revert: a key clicked onto the effect's shown curve is pending; Revert takes it back.
read -r _ _ fxname cl ct cr cb _ <<< "$(layout curve)"
[ "$fxname" != "$name" ] || fail "the editor does not show the new effect's variables"
click $(((cl + cr) / 2)) $(((ct + cb) / 2))
key ctrl+r
save
info | grep -q "^ *$fxname:" && fail "Revert kept the key on $fxname: $(info)"

# A value typed into the editor's field keys the shown variable at the current time (set on the
# ruler).
read -r _ _ al at_ ar ab _ <<< "$(layout arrangement)"
read -r _ _ _ l t r b _ _ <<< "$(layout 'clip "Title"')"
click $(((l + r) / 2)) $((at_ - 12))
read -r _ _ vl vt vr vb <<< "$(layout value)"
click $(((vl + vr) / 2)) $(((vt + vb) / 2))
xdotool type --window "$win" "0.25"; sleep 0.3
key Return
waitfor '^p\.vmp\* - '
save ' - Question$'
info | grep -q "^ *$fxname: [0-9.]*=0.25$" || fail "the typed value did not key $fxname: $(info)"

# Making: the file's name typed into the window's field; the title says when it is made.
key ctrl+m
waitfor ' - Select Export File Name$' && { key ctrl+u; xdotool type --window "$win" "$dir/made.avi"; sleep 0.3; key Return; }
waitfor '^p\.vmp - Made '
frames=$(ffprobe -v error -count_frames -select_streams v:0 -show_entries stream=nb_read_frames -of csv=p=0 made.avi 2> /dev/null)
[ "$frames" = 250 ] || fail "made.avi holds ${frames:-no} frames, not the 250 of 10 s at 25 fps"

# Undo takes the duplicate back and Redo does it again, each written to the journal at once.
key ctrl+d
waitfor '^p\.vmp\* - '
key ctrl+z
waitfor ' - Undone: Duplicate$'
save
info | grep -q '"Title copy"' && fail "Undo kept the duplicate: $(info)"
key ctrl+y
waitfor ' - Done again: Duplicate$'
[ -s p.vmp.journal ] || fail "no journal beside the project"

# Closing with unsaved changes asks; Cancel keeps the window, Yes saves and closes.
key ctrl+q
waitfor ' - Question$' && key Escape
waitfor '^p\.vmp\* - Still open'
key ctrl+q
waitfor ' - Question$' && key y
ended
[ "$status" = 0 ] || fail "exit status $status: $(cat err.txt)"
info | grep -q '"Title copy"' || fail "closing with Yes did not save: $(info)"

[ "$failures" = 0 ] && echo "edit: all checks passed"
exit "$failures"
