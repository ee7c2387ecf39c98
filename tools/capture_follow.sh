#!/bin/sh
# Runs a capture and a follower side by side with no lock between them:
# tools/capture_follow.sh [SECONDS] [FOLDER]. ffmpeg makes a SECONDS long MXF
# file (10 by default); `cvtool capture` copies it at 25 frames a second with
# its sidecar indexes, while `cvtool follow` reads the copy through the
# plug-in as it grows. Every frame the follower read must be the frame the
# capture wrote, and all of them must have been read.
set -eu
cd "$(dirname "$0")/.."
seconds=${1:-10}
dir=${2:-build/capture_follow}
cvtool=${CVTOOL:-build/cvtool}
mkdir -p "$dir"
rm -f "$dir"/live.mxf "$dir"/live.mxf.*.cvindex
ffmpeg -nostdin -hide_banner -loglevel error -y \
    -f lavfi -i testsrc2=size=720x576:rate=25:duration="$seconds" \
    -f lavfi -i sine=frequency=1000:sample_rate=48000:duration="$seconds" \
    -c:v mpeg2video -g 12 -bf 2 -b:v 8M -pix_fmt yuv422p -c:a pcm_s16le -ac 2 \
    -fflags +bitexact -flags:v +bitexact -flags:a +bitexact -f mxf "$dir/source.mxf"
"$cvtool" capture --pace 25 --times "$dir/source.mxf" "$dir/live.mxf" > "$dir/capture.txt" &
capture=$!
# Each open refused before the first block of rows is logged; the log is kept
# for a failing run only.
"$cvtool" follow --poll-ms 5 --timeout $((seconds + 30)) --times "$dir/live.mxf" > "$dir/follow.txt" \
    2> "$dir/follow.log" || { grep -v "Failed to open source file" "$dir/follow.log" >&2; exit 1; }
wait $capture
cut -d' ' -f1-3 "$dir/capture.txt" | sort > "$dir/capture.sorted"
grep '^[0-9]' "$dir/follow.txt" | cut -d' ' -f1-3 | sort > "$dir/follow.sorted"
if cmp -s "$dir/capture.sorted" "$dir/follow.sorted"; then
    echo "capture_follow: $(wc -l < "$dir/follow.sorted") frames and audio frames read as written"
else
    echo "capture_follow: the follower's frames differ from the capture's" >&2
    diff "$dir/capture.sorted" "$dir/follow.sorted" | head >&2
    exit 1
fi
