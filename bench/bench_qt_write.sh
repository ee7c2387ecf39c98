#!/bin/sh
# QuickTime writing: `cvtool qtwritebench` rewraps a movie's video and audio
# through the QuickTime writer (index first, chunks of whole sectors, the
# header rewritten at close), against `ffmpeg -c copy -f mov` of the same
# file: 20 s of 1080p ProRes 422 HQ with 24-bit stereo PCM. Best of five with
# the source in the page cache; the outputs go to the same disk.
set -eu
. bench/measure.sh

source="$BENCH_DIR/prores_hq_1080_20s.mov"
if [ ! -f "$source" ]; then
    ffmpeg -nostdin -hide_banner -loglevel error -y -f lavfi -i testsrc2=size=1920x1080:rate=25:duration=20 \
        -f lavfi -i sine=frequency=1000:sample_rate=48000:duration=20 -c:v prores_ks -profile:v 3 \
        -c:a pcm_s24le -ac 2 -f mov "$source.tmp"
    mv "$source.tmp" "$source"
fi
cat "$source" >/dev/null
echo "$(basename "$source"): $(stat -c %s "$source") bytes, $("$CVTOOL" qtwritebench "$source" "$BENCH_DIR/written.mov")"
best "cvtool qtwritebench" "$CVTOOL" qtwritebench "$source" "$BENCH_DIR/written.mov"
ours=$BEST
best "ffmpeg -c copy -f mov" ffmpeg -nostdin -v error -y -i "$source" -map 0 -c copy -f mov "$BENCH_DIR/ffmpeg.mov"
echo "time ours/ffmpeg: $(ratio "$ours" "$BEST")"
rm -f "$BENCH_DIR/written.mov" "$BENCH_DIR/ffmpeg.mov"
