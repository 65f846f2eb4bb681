# interrupt PID: Ctrl-C for a background job, then its exit status in $got (KILLED when it would
# not stop). A background job starts with Ctrl-C ignored until the program sets its own handler,
# so on a slow machine an early one is lost: it is sent again until the program stops.
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
