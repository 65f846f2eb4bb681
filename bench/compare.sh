#!/usr/bin/env bash
# Side by side: lumivaxel against ffmpeg and melt making the same workloads from the same
# generated media, on one core (taskset -c 0) and on all cores, timed by hyperfine (medians of
# runs that take turns), with our peak resident memory from /usr/bin/time. Prints one table;
# rerun it at will.
#
#   bench/compare.sh [BUILD_DIR]     (default build/; WORK=/dev/shm/... RUNS=5 LIMIT=120 to change,
#                                     WORKLOADS="W1 W2" for some of them)
#
# W1   720 x 576, 25 fps, 10 s: a solid still, a full-frame raw BGR video, a quarter-size raw
#      640 x 480 picture in picture at 60 % opacity and a quarter-size JPEG still at 50 %,
#      made to uncompressed video.
# W1j  W1 with Motion JPEG inputs.         W1m  W1 made to Motion JPEG.
# W2   W1 with a chroma key on the picture in picture and a 3 x 3 blur on the video.
# W3   two 600 s tones mixed to WAV, the second 2 s later at half volume.
# Ratio = the peer's time / ours: above 1 we are that many times faster.
set -euo pipefail

ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=$(cd "${1:-$ROOT/build}" && pwd)
L=$BUILD/bin/lumivaxel
WORK=${WORK:-/dev/shm/lumivaxel-compare}
RUNS=${RUNS:-5}
CORES=$(nproc)
ALL="0-$((CORES - 1))"

[ -x "$L" ] || { echo "compare: build first (make build); no $L" >&2; exit 1; }

# The tools are Debian packages; installed here when missing, never by the build.
need=()
command -v hyperfine >/dev/null || need+=(hyperfine)
command -v melt >/dev/null || need+=(melt)
[ -x /usr/bin/time ] || need+=(time)
command -v ffmpeg >/dev/null || need+=(ffmpeg)
if [ ${#need[@]} -gt 0 ]; then
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO=sudo
  $SUDO apt-get install -y -q "${need[@]}" >/dev/null
fi

mkdir -p "$WORK"
cd "$WORK"
FF="ffmpeg -nostdin -v error -y"

# ---- Media, made once ----
if [ ! -f tone2.wav ]; then
  echo "compare: generating media in $WORK" >&2
  $FF -f lavfi -i testsrc2=size=720x576:rate=25:duration=10 -c:v rawvideo -pix_fmt bgr24 video.avi
  $FF -f lavfi -i testsrc=size=640x480:rate=25:duration=10 -c:v rawvideo -pix_fmt bgr24 pip.avi
  $FF -i video.avi -c:v mjpeg -q:v 3 -pix_fmt yuvj420p video_mj.avi
  $FF -i pip.avi -c:v mjpeg -q:v 3 -pix_fmt yuvj420p pip_mj.avi
  $FF -f lavfi -i color=c=0x204060:size=720x576 -frames:v 1 back.bmp
  $FF -f lavfi -i smptebars=size=360x288 -frames:v 1 -q:v 3 still.jpg
  $FF -f lavfi -i sine=frequency=440:sample_rate=44100:duration=600 -ac 2 -c:a pcm_s16le tone1.wav
  $FF -f lavfi -i sine=frequency=660:sample_rate=44100:duration=600 -ac 2 -c:a pcm_s16le tone2.wav
fi

# ---- Our projects, built by macros ----
notes=()
w1() {  # video pip output.vmp [extra clauses]
  "$L" run -e "Arrangement SetFormat 720 576 ; Arrangement SetFps 25 ; Arrangement SetLength 10 ;
    Arrangement AddMedia Back $WORK/back.bmp 4 0 10 ; Arrangement AddMedia Video $WORK/$1 3 0 10 ;
    Arrangement AddMedia Pip $WORK/$2 2 0 10 ;
    Pip.IDS_DST_L SetKey 0 0.05 ; Pip.IDS_DST_T SetKey 0 0.05 ; Pip.IDS_DST_R SetKey 0 0.55 ; Pip.IDS_DST_B SetKey 0 0.55 ;
    Pip.IDS_START_OPACITY SetKey 0 0.6 ;
    Arrangement AddMedia Still $WORK/still.jpg 1 0 10 ;
    Still.IDS_DST_L SetKey 0 0.45 ; Still.IDS_DST_T SetKey 0 0.45 ; Still.IDS_DST_R SetKey 0 0.95 ; Still.IDS_DST_B SetKey 0 0.95 ;
    Still.IDS_START_OPACITY SetKey 0 0.5 ; ${4:-}
    Arrangement Commit ; f = Arrangement Save $WORK/$3 ; return f" >/dev/null
}
w1 video.avi pip.avi w1.vmp
w1 video_mj.avi pip_mj.avi w1j.vmp
w1 video.avi pip.avi w2.vmp "k = Pip AddEffect Chroma_Key ; Pip.\$k.IDS_GREEN SetKey 0 1 ;" ||
  { notes+=("W2: the chroma key cannot be added"); w1 video.avi pip.avi w2.vmp; }
if ! w1 video.avi pip.avi w2b.vmp "k = Pip AddEffect Chroma_Key ; Pip.\$k.IDS_GREEN SetKey 0 1 ; b = Video AddEffect 149 ;" 2>/dev/null; then
  notes+=("W2: no 3 x 3 blur in this build; ours runs without it, ffmpeg with it")
else
  mv w2b.vmp w2.vmp
fi
w3() {
  "$L" run -e "Arrangement SetLength 602 ; Arrangement AddMedia T1 $WORK/tone1.wav 1 0 ;
    Arrangement AddMedia T2 $WORK/tone2.wav 2 2 ; ${1:-} Arrangement Commit ; f = Arrangement Save $WORK/w3.vmp ; return f" >/dev/null
}
if ! w3 "v = T2 AddEffect 142 ;" 2>/dev/null; then
  notes+=("W3: no volume effect in this build; ours mixes the second tone at full volume")
  w3
fi

# ---- The commands: ours, ffmpeg's and melt's, per workload; $T is the thread count ----
ours() { echo "$L make $WORK/$1 -o $WORK/out_ours.$2 --threads \$T ${3:-}"; }
# ffmpeg: the fastest graph (yuv420p, nearest scaling, raw output) and the rgba one.
ffw1() {  # pixfmt video pip codec [pip filter] [video filter]
  local a=yuva420p o=yuv420
  [ "$1" = rgba ] && a=rgba o=rgb
  echo "$FF -threads \$T -filter_threads \$T -loop 1 -framerate 25 -i back.bmp -i $2 -i $3 -loop 1 -framerate 25 -i still.jpg -filter_complex \"[0:v]format=$1[b];[1:v]format=$1${6:-}[v];[2:v]scale=360:288:flags=neighbor,format=$a${5:-},lut=a=val*0.6[p];[3:v]scale=360:288:flags=neighbor,format=$a,lut=a=128[s];[b][v]overlay=format=$o:shortest=1[o1];[o1][p]overlay=36:29:format=$o[o2];[o2][s]overlay=324:259:format=$o,format=$1[out]\" -map [out] -frames:v 250 -c:v $4 -f avi out_ff.avi"
}
meltw1() {  # video pip consumer-args
  echo "melt -silent -profile dv_pal back.bmp out=249 -track $1 -track $2 -track still.jpg out=249 -transition composite a_track=0 b_track=1 geometry=0/0:100%x100% -transition composite a_track=0 b_track=2 geometry=5%/5%:50%x50%:60 distort=1 -transition composite a_track=0 b_track=3 geometry=45%/45%:50%x50%:50 distort=1 -consumer avformat:$WORK/out_melt.avi real_time=-\$T $3"
}
ffw3="$FF -threads \$T -i tone1.wav -i tone2.wav -filter_complex \"[1:a]adelay=2000|2000,volume=0.5[b];[0:a][b]amix=inputs=2:normalize=0:duration=longest\" -c:a pcm_s16le out_ff.wav"
meltw3="melt -silent tone1.wav -track -blank 49 tone2.wav -transition mix a_track=0 b_track=1 -consumer avformat:$WORK/out_melt.wav vn=1 real_time=-\$T"

# workload | our command | peers as "name=command" separated by newlines
declare -A OURS PEERS
OURS[W1]=$(ours w1.vmp avi "--option codec=raw")
PEERS[W1]="ffmpeg yuv420p=$(ffw1 yuv420p video.avi pip.avi rawvideo)
ffmpeg rgba=$(ffw1 rgba video.avi pip.avi rawvideo)
melt composite=$(meltw1 video.avi pip.avi "vcodec=rawvideo pix_fmt=bgr24 an=1")"
OURS[W1j]=$(ours w1j.vmp avi "--option codec=raw")
PEERS[W1j]="ffmpeg yuv420p=$(ffw1 yuv420p video_mj.avi pip_mj.avi rawvideo)
melt composite=$(meltw1 video_mj.avi pip_mj.avi "vcodec=rawvideo pix_fmt=bgr24 an=1")"
OURS[W1m]=$(ours w1.vmp avi "--option codec=mjpeg")
PEERS[W1m]="ffmpeg yuv420p=$(ffw1 yuv420p video.avi pip.avi "mjpeg -q:v 3 -pix_fmt yuvj420p")"
OURS[W2]=$(ours w2.vmp avi "--option codec=raw")
PEERS[W2]="ffmpeg yuv420p=$(ffw1 yuv420p video.avi pip.avi rawvideo ",chromakey=0x00FF00:0.1" ",convolution=1 1 1 1 1 1 1 1 1:1 1 1 1 1 1 1 1 1:1 1 1 1 1 1 1 1 1:1 1 1 1 1 1 1 1 1:1/9:1/9:1/9:1/9")"
OURS[W3]=$(ours w3.vmp wav)
PEERS[W3]="ffmpeg amix=$ffw3
melt mix=$meltw3"

# Median seconds of each command under taskset, "n/a" for one that fails or hangs (a peer that
# runs past $LIMIT seconds is stopped). The runs take turns (ours, each peer, ours again, ...),
# so a machine that slows down for a while slows every tool alike and the ratios stay fair.
LIMIT=${LIMIT:-120}
medians() {  # cpus threads command...
  local cpus=$1 threads=$2 json i r
  shift 2
  local -a cmds=() times=() failed=()
  for c in "$@"; do cmds+=("timeout $LIMIT taskset -c $cpus bash -c '${c//\$T/$threads} </dev/null'"); done
  json=$(mktemp)
  for ((r = 0; r <= RUNS; ++r)); do  # round 0 warms the caches up and is not counted
    for i in "${!cmds[@]}"; do
      [ -n "${failed[$i]:-}" ] && continue
      if hyperfine -N --style none --runs 1 --export-json "$json" "${cmds[$i]}" >/dev/null 2>&1; then
        [ $r -gt 0 ] && times[$i]+=" $(python3 -c "import json,sys; print(json.load(open(sys.argv[1]))['results'][0]['mean'])" "$json")"
      else
        failed[$i]=1
      fi
    done
  done
  rm -f "$json"
  for i in "${!cmds[@]}"; do
    if [ -n "${failed[$i]:-}" ]; then echo n/a; else
      python3 -c "import statistics,sys; print('%.3f' % statistics.median(map(float, sys.argv[1:])))" ${times[$i]}
    fi
  done
}
peak() {  # cpus threads command: our peak resident memory in MiB
  local out
  out=$( { /usr/bin/time -f "%M" taskset -c "$1" bash -c "${3//\$T/$2} >/dev/null 2>&1"; } 2>&1 | tail -1)
  echo $((out / 1024))
}

echo "machine: $CORES cores; $(uptime | sed 's/.*load/load/')"
printf "%-5s %-6s %9s %9s  %-16s %9s %8s\n" load cores ours_s peak_MiB peer peer_s ratio
for w in ${WORKLOADS:-W1 W1j W1m W2 W3}; do
  for c in 1 all; do
    if [ $c = 1 ]; then cpus=0 threads=1; else cpus=$ALL threads=$CORES; fi
    names=() cmds=("${OURS[$w]}")
    while IFS= read -r line; do
      names+=("${line%%=*}") cmds+=("${line#*=}")
    done <<< "${PEERS[$w]}"
    mapfile -t secs < <(medians "$cpus" "$threads" "${cmds[@]}")
    o=${secs[0]}
    m=$(peak "$cpus" "$threads" "${OURS[$w]}")
    for i in "${!names[@]}"; do
      p=${secs[$((i + 1))]} r=n/a
      [ "$o" != n/a ] && [ "$p" != n/a ] && r=$(python3 -c "print('%.2f' % ($p / $o))")
      printf "%-5s %-6s %9s %9s  %-16s %9s %8s\n" $w $c "$o" "$m" "${names[$i]}" "$p" "$r"
    done
  done
done
for n in "${notes[@]}"; do echo "note: $n"; done
rm -f out_ours.* out_ff.* out_melt.*
