#!/usr/bin/env bash
# The render farm on a one-node Slurm cluster this script starts and always stops (a configuration
# of its own, no cgroups): the demo in 4 segments, joined, equals a single make. Skips (77) where
# it cannot start Slurm.
# Usage: farm_test.sh LUMIVAXEL BUILD_DEMO
set -u
lv="$1"
builder="$2"
skip() { echo "SKIP: $*"; exit 77; }
[ "$(id -u)" = 0 ] || skip "starting Slurm daemons needs root"
for p in munged slurmctld slurmd sbatch scontrol sinfo ffmpeg; do
  command -v "$p" > /dev/null || skip "$p is not installed (scripts/install-deps installs slurm-wlm and munge)"
done

dir="$(mktemp -d /tmp/lv-farm-XXXXXX)"
chmod 755 "$dir"
export SLURM_CONF="$dir/slurm.conf"
stop() {
  scontrol shutdown > /dev/null 2>&1
  for f in "$dir/slurmd.pid" "$dir/slurmctld.pid" "$dir/munge/munged.pid"; do
    [ -s "$f" ] && kill "$(cat "$f")" 2> /dev/null
  done
  sleep 1
  rm -rf "$dir"
}
trap stop EXIT
fail() { echo "FAIL: $*"; for l in "$dir"/log/* "$dir"/film.parts/*.log; do [ -f "$l" ] && { echo "== $l"; tail -20 "$l"; }; done; exit 1; }

mkdir -p "$dir/munge" "$dir/state" "$dir/spool" "$dir/log"
chmod 700 "$dir/munge"
head -c 1024 /dev/urandom > "$dir/munge/munge.key"
chmod 600 "$dir/munge/munge.key"
munged --force --socket="$dir/munge/socket" --key-file="$dir/munge/munge.key" --pid-file="$dir/munge/munged.pid" \
  --seed-file="$dir/munge/seed" --log-file="$dir/log/munged.log" < /dev/null || skip "munged does not start here"

port=$((20000 + RANDOM % 20000))
cat > "$SLURM_CONF" <<EOF
ClusterName=lvfarm
SlurmctldHost=localhost
SlurmctldPort=$port
SlurmdPort=$((port + 1))
AuthInfo=socket=$dir/munge/socket
StateSaveLocation=$dir/state
SlurmdSpoolDir=$dir/spool
SlurmctldPidFile=$dir/slurmctld.pid
SlurmdPidFile=$dir/slurmd.pid
SlurmctldLogFile=$dir/log/slurmctld.log
SlurmdLogFile=$dir/log/slurmd.log
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
ReturnToService=2
NodeName=lvnode NodeAddr=127.0.0.1 NodeHostname=$(hostname -s) CPUs=$(nproc) State=UNKNOWN
PartitionName=lvq Nodes=lvnode Default=YES MaxTime=INFINITE State=UP
EOF
slurmctld -i < /dev/null || skip "slurmctld does not start here"
slurmd -N lvnode < /dev/null || skip "slurmd does not start here"
for _ in $(seq 60); do sinfo -h -o %t 2> /dev/null | grep -q idle && break; sleep 0.5; done
sinfo -h -o %t 2> /dev/null | grep -q idle || skip "the Slurm node did not come up: $(tail -3 "$dir/log/slurmd.log")"

ffmpeg -loglevel error -y -f lavfi -i "testsrc2=size=160x120:rate=25" -t 2 -c:v mjpeg "$dir/video.avi" || fail "no test video"
"$builder" "$dir" "$dir/video.avi" > /dev/null || fail "no demo project"
"$lv" make "$dir/demo.vmp" -o "$dir/single.avi" > /dev/null 2>&1 || fail "the single make failed"

"$lv" farm "$dir/demo.vmp" -o "$dir/film.avi" --segments 4 --dry-run > "$dir/dry" 2> /dev/null || fail "farm --dry-run"
grep -q -- '--array=0-3' "$dir/dry" || fail "the dry run shows no array of 4"
[ ! -e "$dir/film.parts" ] || fail "the dry run created the parts folder"

"$lv" farm "$dir/demo.vmp" -o "$dir/film.avi" --segments 4 --sbatch-arg=--time=10 > "$dir/ids" || fail "farm failed"
array=$(sed -n 's/^segments: job \([0-9]*\).*/\1/p' "$dir/ids")
join=$(sed -n 's/^join: job \([0-9]*\).*/\1/p' "$dir/ids")
[ -n "$array" ] && [ -n "$join" ] || fail "no job ids in: $(cat "$dir/ids")"
state=""
for _ in $(seq 480); do  # four minutes at most, for sanitizer builds
  state=$(scontrol -o show job "$join" 2> /dev/null | sed -n 's/.*JobState=\([A-Z_]*\).*/\1/p')
  case "$state" in COMPLETED | FAILED | CANCELLED | TIMEOUT | NODE_FAIL) break ;; esac
  sleep 0.5
done
[ "$state" = COMPLETED ] || fail "the join job ended as '$state'"
cmp -s "$dir/single.avi" "$dir/film.avi" || fail "the farm's film.avi differs from a single make"
"$lv" farm --status "$array" > "$dir/status" || fail "farm --status"
grep -q '4 tasks: 4 COMPLETED' "$dir/status" || fail "status says: $(cat "$dir/status")"
echo "farm: 4 segments made and joined by Slurm equal a single make"
