#!/bin/sh
# Makes a small movie with ffmpeg, lists the plug-in's resources and probes the
# movie through the plug-in with cvtool; then makes a DV file, rewraps it
# through the plug-in's writers to MXF and back to a movie, and probes the copy.
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
# Writing through the plug-in: a DV movie with sound to MXF, and back.
tests/media/make_media.sh build/demo avi_dv_pal.avi
dv=build/demo/avi_dv_pal.avi
mxf=build/demo/rewrapped.mxf
back=build/demo/rewrapped.mov
rm -f "$mxf" "$back"
echo "== cvtool probe $dv"
build/cvtool probe "$dv"
echo "== cvtool rewrap $dv $mxf"
build/cvtool rewrap "$dv" "$mxf"
echo "== cvtool rewrap $mxf $back"
build/cvtool rewrap "$mxf" "$back"
echo "== cvtool probe $back"
build/cvtool probe "$back"
