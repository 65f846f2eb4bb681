# Shared by the command-line tests (sourced): a scratch folder $dir, fail(), check() and
# expect_line() on one command's status and stderr, interrupt(), and the demo project. (Leak
# reports of a sanitizer build must not add lines to the one-line errors.)
export LSAN_OPTIONS="${LSAN_OPTIONS:+$LSAN_OPTIONS:}print_suppressions=0"
dir="$(mktemp -d "/tmp/lv-$1-XXXXXX")"
trap 'rm -rf "$dir"' EXIT
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
check() {  # check DESCRIPTION EXPECTED_STATUS COMMAND...
  local what="$1" want="$2"
  shift 2
  "$@" > "$dir/stdout" 2> "$dir/stderr"
  local got=$?
  [ "$got" = "$want" ] || { fail "$what: status $got, wanted $want"; cat "$dir/stderr"; }
}
expect_line() {  # the failure is one line on stderr that mentions TEXT
  [ "$(wc -l < "$dir/stderr")" = 1 ] && grep -q "$1" "$dir/stderr" || { fail "stderr should be one line about '$1':"; cat "$dir/stderr"; }
}
# demo_project BUILD_DEMO: ffmpeg's test pattern as video.avi and the demo project on it in $dir.
demo_project() {
  ffmpeg -loglevel error -y -f lavfi -i "testsrc2=size=160x120:rate=25" -t 2 -c:v mjpeg "$dir/video.avi" &&
    "$1" "$dir" "$dir/video.avi" > "$dir/stdout"
}

# interrupt PID: Ctrl-C (again until it stops: a background job ignores it until the program sets
# its own handler), then its exit status in $got (KILLED when it would not stop).
interrupt() {
  local pid="$1"
  got=""
  for _ in $(seq 150); do
    kill -INT "$pid" 2> /dev/null || break
    sleep 0.2
    kill -0 "$pid" 2> /dev/null || break
  done
  kill -KILL "$pid" 2> /dev/null && got=KILLED
  wait "$pid"
  local status=$?
  [ -n "$got" ] || got=$status
}
