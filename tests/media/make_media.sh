#!/bin/sh
# Makes one test file with ffmpeg, with fixed settings so that every run gives
# the same file: make_media.sh OUTDIR NAME. Files are written under a temporary
# name and renamed, so a file that exists is complete.
set -eu
out=$1
name=$2
mkdir -p "$out"
tmp="$out/.tmp.$$.$name"
trap 'rm -f "$tmp"' EXIT

ff() { ffmpeg -nostdin -hide_banner -loglevel error -y "$@"; }
exact="-fflags +bitexact -flags:v +bitexact -flags:a +bitexact -map_metadata -1"
video() { echo "-f lavfi -i testsrc2=size=${1}:rate=${2}:duration=${3}"; }
tone() { echo "-f lavfi -i sine=frequency=1000:sample_rate=${1}:duration=${2}"; }

case "$name" in
prores_pcm24_tc.mov)
    ff $(video 320x240 25 2) $(tone 48000 2) -c:v prores_ks -profile:v 2 -c:a pcm_s24le -ac 2 \
        -timecode 01:00:00:00 $exact -f mov "$tmp" ;;
mjpeg_small.mov)
    ff $(video 64x48 25 1) -c:v mjpeg -q:v 5 $exact -f mov "$tmp" ;;
*)
    echo "make_media.sh: no recipe for $name" >&2
    exit 2 ;;
esac
mv "$tmp" "$out/$name"
trap - EXIT
