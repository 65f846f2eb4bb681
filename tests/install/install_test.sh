#!/usr/bin/env bash
# The engine as another program gets it from the build in BUILD: installed into a temporary
# prefix with examples/host built by pkg-config (prefix), or the Debian package unpacked
# (package); either makes the demo with the plugins it installed.
# Usage: install_test.sh prefix|package BUILD SOURCE BUILD_DEMO
set -euo pipefail
mode="$1" build="$2" source="$3" builder="$4"
unset LUMIVAXEL_PLUGIN_PATH
dir="$(mktemp -d /tmp/lv-install-XXXXXX)"
trap 'rm -rf "$dir"' EXIT
fail() { echo "FAIL: $*"; exit 1; }

ffmpeg -loglevel error -y -f lavfi -i "testsrc2=size=160x120:rate=25" -t 2 -c:v mjpeg "$dir/video.avi"
"$builder" "$dir" "$dir/video.avi" > /dev/null

# A BMP's width and height (little-endian int32 at offsets 18 and 22).
bmp_size() { od -An -tu4 -j18 -N8 "$1" | awk '{print $1 "x" $2}'; }

if [ "$mode" = prefix ]; then
  prefix="$dir/prefix"
  cmake --install "$build" --prefix "$prefix" > /dev/null
  for f in bin/lumivaxel lib/libvemo.so lib/pkgconfig/vemo.pc include/lumivaxel/vemodll.h \
           include/lumivaxel/media/wavcfg.h lib/lumivaxel/plugins/avi.so lib/lumivaxel/plugins/wav.so \
           share/man/man1/lumivaxel.1 share/mime/packages/lumi-vaxel.xml share/applications/lumi-vaxel.desktop; do
    [ -e "$prefix/$f" ] || fail "$f was not installed"
  done
  soname="$(objdump -p "$prefix/lib/libvemo.so" | awk '$1 == "SONAME" {print $2}')"
  [ "$soname" = libvemo.so.0 ] || fail "soname is '$soname'"
  [ ! -e "$prefix/include/lumivaxel/media/ffinput.h" ] || fail "a decoder's own header was installed"
  # The windows are a module the program loads from beside its library.
  "$prefix/bin/lumivaxel" edit --help | grep -q "usage: lumivaxel edit" || fail "the installed windows do not load"

  cp -r "$source/examples/host" "$dir/host"
  PKG_CONFIG_PATH="$prefix/lib/pkgconfig" make -s -C "$dir/host" > /dev/null || fail "examples/host does not build"
  made="$(LD_LIBRARY_PATH="$prefix/lib" "$dir/host/host" "$dir/demo.vmp" "$dir/frame.bmp" 1.5 "$dir/made.avi")" ||
    fail "the host failed"
  [ "$made" = "$dir/made.avi" ] || fail "the host made '$made'"
  [ "$(bmp_size "$dir/frame.bmp")" = 640x480 ] || fail "the frame is $(bmp_size "$dir/frame.bmp")"
  # 1.5 s at the demo's 25 frames per second: trunc(25 * 1500 / 1000) = 37 frames, with sound.
  frames="$(ffprobe -v error -select_streams v:0 -count_frames -show_entries stream=nb_read_frames -of csv=p=0 "$dir/made.avi")"
  [ "$frames" = 37 ] || fail "made.avi holds $frames frames"
  audio="$(ffprobe -v error -select_streams a:0 -show_entries stream=sample_rate,channels -of csv=p=0 "$dir/made.avi")"
  [ "$audio" = "44100,2" ] || fail "made.avi's sound is '$audio'"
elif [ "$mode" = package ]; then
  rm -f "$build"/package/*.deb
  (cd "$build" && cpack -G DEB > "$dir/cpack.log") || { cat "$dir/cpack.log"; fail "cpack failed"; }
  deb="$(ls "$build"/package/*.deb)"
  depends="$(dpkg-deb -f "$deb" Depends)"
  for lib in libavcodec libjpeg62-turbo libc6; do
    [[ "$depends" == *"$lib"* ]] || fail "the package does not depend on $lib: $depends"
  done
  dpkg-deb -x "$deb" "$dir/root"
  [ -e "$dir/root/usr/lib/lumivaxel/plugins/avi.so" ] || fail "the package holds no plugins"
  [[ "$depends" == *libsdl2* ]] || fail "the package does not depend on SDL2 for its windows: $depends"
  "$dir/root/usr/bin/lumivaxel" preview --help | grep -q "usage: lumivaxel preview" ||
    fail "the packaged windows do not load"
  made="$("$dir/root/usr/bin/lumivaxel" make "$dir/demo.vmp" -o "$dir/demo.avi" 2> "$dir/err")" ||
    { cat "$dir/err"; fail "the packaged lumivaxel could not make the demo"; }
  [ "$made" = "$dir/demo.avi" ] || fail "it made '$made'"
  [ "$(head -c4 "$dir/demo.avi")" = RIFF ] || fail "demo.avi is no AVI file"
else
  fail "unknown mode $mode"
fi
echo "install test ($mode): ok"
