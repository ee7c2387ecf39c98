#!/bin/sh
# MXF: a one-hour long-GOP OP1a file (about 90,000 MPEG-2 frames with PCM, stream
# copied from a one-second seed, so that making it is quick). The open (cvtool
# probe: load, index tables, stream answers) against ffprobe -show_streams on
# the same file, with the bytes the plug-in reads; then one frame read at the
# start, middle and end (cvtool read --frame), whose cost should not grow
# with the frame's place. Best of five runs with the file in the page cache
# (best of twenty for the open).
set -eu
. bench/measure.sh

ff() { ffmpeg -nostdin -hide_banner -loglevel error -y "$@"; }
seed="$BENCH_DIR/mxf_seed.mpg"
movie="$BENCH_DIR/mxf_one_hour.mxf"
[ -f "$seed" ] || ff -f lavfi -i testsrc2=size=160x120:rate=25:duration=1 -f lavfi -i sine=sample_rate=48000:duration=1 \
    -c:v mpeg2video -g 12 -bf 2 -b:v 200k -pix_fmt yuv422p -c:a pcm_s16le -f mpegts "$seed"
if [ ! -f "$movie" ]; then
    ff -stream_loop 3749 -i "$seed" -c copy -f mxf "$movie.tmp"
    mv "$movie.tmp" "$movie"
fi
cat "$movie" >/dev/null
frames=$("$CVTOOL" probe "$movie" | sed -n 's/.*"nb_frames": "\([0-9]*\)".*/\1/p' | head -n 1)
size=$(stat -c %s "$movie")
echo "$frames frames, $size bytes"

best "cvtool plugins (start and load only)" "$CVTOOL" plugins
# The open takes a few milliseconds: more runs, so that the best is not luck.
RUNS=20 best "cvtool probe (open)" "$CVTOOL" probe "$movie"
ours=$BEST
best "ffprobe -show_streams" ffprobe -v error -show_streams "$movie"
echo "open time ours/ffprobe: $(ratio "$ours" "$BEST") (target at most 0.1)"
# cvtool and the plug-in each count their own reads.
read_bytes=$(CV_IO_STATS=1 "$CVTOOL" probe "$movie" 2>&1 >/dev/null | awk '/^bytes read: / { n += $3 } END { print n }')
echo "bytes read by the open: $read_bytes of $size ($(ratio "$read_bytes" "$size") of the file)"

for frame in 0 $((frames / 2)) $((frames - 1)); do
    best "cvtool read --frame $frame" "$CVTOOL" read --frame "$frame" "$movie"
    eval "at_$frame=$BEST"
done
echo "frame read, end/start time: $(ratio "$(eval echo \$at_$((frames - 1)))" "$at_0") (target about 1)"
