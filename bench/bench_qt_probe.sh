#!/bin/sh
# A movie of 2,000,000 samples (1 s of 32x32 MJPEG at 1000 fps, looped 2000
# times without re-encoding): cvtool probe against ffprobe -show_streams, time
# and peak memory. The per-sample tables stay on disk, so both should be a
# small fraction of ffprobe's.
set -eu
. bench/measure.sh
movie="$BENCH_DIR/mjpeg_2m.mov"
if [ ! -f "$movie" ]; then
    ff() { ffmpeg -nostdin -hide_banner -loglevel error -y "$@"; }
    ff -f lavfi -i testsrc2=size=32x32:rate=1000:duration=1 -c:v mjpeg -q:v 10 -f mov "$BENCH_DIR/mjpeg_1s.mov"
    ff -stream_loop 1999 -i "$BENCH_DIR/mjpeg_1s.mov" -c copy -f mov "$movie.tmp"
    mv "$movie.tmp" "$movie"
fi
frames=$("$CVTOOL" probe "$movie" | sed -n 's/.*"nb_frames": "\([0-9]*\)".*/\1/p')
echo "samples: $frames"
measure "cvtool probe" "$CVTOOL" probe "$movie"
ours_s=$SECONDS_TAKEN ours_kb=$PEAK_KB
measure "ffprobe -show_streams" ffprobe -v error -show_streams "$movie"
echo "time ratio:   $(ratio "$ours_s" "$SECONDS_TAKEN") (target <= 0.1)"
echo "memory ratio: $(ratio "$ours_kb" "$PEAK_KB") (target <= 0.1)"
