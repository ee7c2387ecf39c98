#!/bin/sh
# AVI writing: `cvtool aviwritebench` rewraps a file's video and audio through
# the AVI writer (one sector-aligned write per frame, indexes in reserved
# room), against `ffmpeg -c copy -f avi` of the same file: a ten-minute file
# of 15,000 small MJPEG frames with PCM, and an OpenDML file above 1 GiB of
# uncompressed HD frames. Best of five with the source in the page cache; the
# outputs go to the same disk.
set -eu
. bench/measure.sh

ensure() { [ -f "$BENCH_DIR/$1" ] || sh tests/media/make_media.sh "$BENCH_DIR" "$1"; }
for name in avi_long_idx1.avi avi_opendml_1g.avi; do
    ensure "$name"
    source="$BENCH_DIR/$name"
    cat "$source" >/dev/null
    echo "$name: $(stat -c %s "$source") bytes, $("$CVTOOL" aviwritebench "$source" "$BENCH_DIR/written.avi")"
    best "cvtool aviwritebench" "$CVTOOL" aviwritebench "$source" "$BENCH_DIR/written.avi"
    ours=$BEST
    best "ffmpeg -c copy -f avi" ffmpeg -nostdin -v error -y -i "$source" -map 0 -c copy -f avi "$BENCH_DIR/ffmpeg.avi"
    echo "time ours/ffmpeg: $(ratio "$ours" "$BEST")"
    rm -f "$BENCH_DIR/written.avi" "$BENCH_DIR/ffmpeg.avi"
done
