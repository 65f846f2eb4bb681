# Shared by the window tests (sourced): sanitizer settings, a scratch folder, fail(), the
# headless check, a private Xvfb and the window helpers. The caller sets lv and the program's pid
# in app (to be stopped on exit), then calls window_test_start COMMAND.
#
# Under the sanitizers the program is not leak-checked here: SDL loads the X11 and message-bus
# libraries at run time and unloads them on quit, so what they keep for the life of the process
# shows as leaks in modules no suppression can name. Address and undefined-behaviour checks stay.
export LSAN_OPTIONS="${LSAN_OPTIONS:+$LSAN_OPTIONS:}print_suppressions=0"
export ASAN_OPTIONS="${ASAN_OPTIONS:+$ASAN_OPTIONS:}detect_leaks=0"
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
xpid=""
app=""
window_test_cleanup() {
  [ -n "$app" ] && kill "$app" 2> /dev/null
  [ -n "$xpid" ] && kill "$xpid" 2> /dev/null && wait "$xpid" 2> /dev/null
  rm -rf "$dir"
}

# window_test_start COMMAND: $dir made and entered, the headless run of COMMAND checked (one
# clear line), DISPLAY set to a fresh server. Skips (77) without Xvfb or xdotool.
window_test_start() {
  command -v Xvfb > /dev/null && command -v xdotool > /dev/null || { echo "skipped: Xvfb or xdotool missing"; exit 77; }
  dir="$(mktemp -d "/tmp/lv-$1-XXXXXX")"
  trap window_test_cleanup EXIT
  env -u DISPLAY -u WAYLAND_DISPLAY -u SDL_VIDEODRIVER "$lv" "$1" "$dir/none.vmp" 2> "$dir/stderr"
  [ $? = 1 ] && [ "$(wc -l < "$dir/stderr")" = 1 ] && grep -q "needs a display" "$dir/stderr" ||
    fail "headless $1: $(cat "$dir/stderr")"
  # The server picks a free display number itself and writes it once it listens, so tests that
  # run side by side never share one.
  Xvfb -displayfd 3 -screen 0 1280x1024x24 -nolisten tcp 3> "$dir/display" > /dev/null 2>&1 &
  xpid=$!
  for _ in $(seq 200); do [ -s "$dir/display" ] && break; sleep 0.05; done
  export DISPLAY=":$(head -1 "$dir/display")"
  xdotool getmouselocation > /dev/null 2>&1 || { echo "FAIL: Xvfb did not start"; exit 1; }
  cd "$dir" || exit 1
}

# window_of PATTERN: the id of the window of $app whose name matches, in $win (60 s at most).
window_of() {
  for _ in $(seq 600); do
    win=$(xdotool search --all --pid "$app" --name "$1" 2> /dev/null | head -1)
    [ -n "$win" ] && return 0
    sleep 0.1
  done
  return 1
}
title() { xdotool getwindowname "$win" 2> /dev/null; }
# waitfor PATTERN [SECONDS]: until the title matches (60 s unless told: sanitized runs are slow).
waitfor() {
  for _ in $(seq $((${2:-60} * 20))); do title | grep -Eq "$1" && return 0; sleep 0.05; done
  fail "title '$(title)' never matched '$1'"
  return 1
}
key() { xdotool key --window "$win" "$@" 2> /dev/null; sleep "${keypause:-0}"; }
# ended: waits for $app to end (60 s at most); its exit status in $status, app cleared.
ended() {
  for _ in $(seq 600); do kill -0 "$app" 2> /dev/null || break; sleep 0.1; done
  status=0
  wait "$app" || status=$?
  app=""
}
