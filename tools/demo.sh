#!/bin/sh
# Makes a small movie with ffmpeg, lists the plug-in's resources, probes the
# movie through the plug-in with cvtool, rewraps it through the plug-in's
# QuickTime writer, and probes the copy.
set -eu
cd "$(dirname "$0")/.."
tools/setup.sh
mkdir -p build/demo
sample=build/demo/sample.mov
tests/media/make_media.sh build/demo prores_pcm24_tc.mov
cp build/demo/prores_pcm24_tc.mov "$sample"
echo "== cvtool plugins"
build/cvtool plugins
echo "== cvtool probe --packets --hash md5 $sample"
build/cvtool probe --packets --hash md5 "$sample"
copy=build/demo/rewrapped.mov
rm -f "$copy"
echo "== cvtool rewrap $sample $copy"
build/cvtool rewrap "$sample" "$copy"
echo "== cvtool probe $copy"
build/cvtool probe "$copy"
