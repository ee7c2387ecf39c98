#!/bin/sh
# AVI reading. (1) Every frame of an OpenDML file above 1 GiB (AVIX RIFFs,
# ix## indexes), one essenceRead per frame, against cat of the same file:
# throughput ratio, target at least 0.9. (2) Video and audio read in turn,
# switching stream at every frame, on a ten-minute idx1 file, against
# ffmpeg demuxing every packet of it. Each figure is the best of five runs
# with the file in the page cache.
set -eu
. bench/measure.sh

ensure() { [ -f "$BENCH_DIR/$1" ] || sh tests/media/make_media.sh "$BENCH_DIR" "$1"; }

ensure avi_opendml_1g.avi
ensure avi_long_idx1.avi
big="$BENCH_DIR/avi_opendml_1g.avi"
long="$BENCH_DIR/avi_long_idx1.avi"
cat "$big" >/dev/null

bytes=$(stat -c %s "$big")
echo "OpenDML file: $bytes bytes, $("$CVTOOL" read "$big")"
best "cvtool read (one read per frame)" "$CVTOOL" read "$big"
ours=$BEST
best "cat" cat "$big"
theirs=$BEST
echo "throughput ours/cat: $(ratio "$theirs" "$ours")"

echo "idx1 file: $(stat -c %s "$long") bytes, $("$CVTOOL" read --alternate "$long")"
best "cvtool read --alternate" "$CVTOOL" read --alternate "$long"
ours=$BEST
best "cvtool read (video only)" "$CVTOOL" read "$long"
video=$BEST
best "ffmpeg -c copy -f null (all packets)" ffmpeg -nostdin -v error -i "$long" -map 0 -c copy -f null -
theirs=$BEST
echo "speed ours/ffmpeg: $(ratio "$theirs" "$ours"); alternating/video only time: $(ratio "$ours" "$video")"
