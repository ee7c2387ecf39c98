#!/bin/sh
# Makes a small movie with ffmpeg, then lists the plug-in's resources and
# probes the movie through the plug-in with cvtool.
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
