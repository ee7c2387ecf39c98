#!/bin/sh
# A 100,000-frame H.264 movie with B-frames (about 66,000 ctts runs): every
# packet listed by cvtool probe --packets against ffprobe -show_packets.
set -eu
. bench/measure.sh
movie="$BENCH_DIR/h264_100k.mov"
if [ ! -f "$movie" ]; then
    ff() { ffmpeg -nostdin -hide_banner -loglevel error -y "$@"; }
    ff -f lavfi -i testsrc2=size=64x64:rate=25:duration=40 -c:v libx264 -preset ultrafast -threads 1 \
        -x264-params bframes=2:b-adapt=0:keyint=50 -f mov "$BENCH_DIR/h264_1k.mov"
    ff -stream_loop 99 -i "$BENCH_DIR/h264_1k.mov" -c copy -f mov "$movie.tmp"
    mv "$movie.tmp" "$movie"
fi
measure "cvtool probe --packets" "$CVTOOL" probe --packets "$movie"
ours_s=$SECONDS_TAKEN ours_kb=$PEAK_KB
measure "ffprobe -show_packets" ffprobe -v error -show_packets "$movie"
echo "time ratio:   $(ratio "$ours_s" "$SECONDS_TAKEN") (target <= 0.2)"
echo "memory ratio: $(ratio "$ours_kb" "$PEAK_KB")"
