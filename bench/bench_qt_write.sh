#!/bin/sh
# Writing movies through the plug-in: `cvtool rewrap` reads a movie as the
# editor does and writes it through the QuickTime writer resource, against
# `ffmpeg -c copy -f mov` of the same file and against `dd` of as many bytes:
# 8 s of 1080p v210 with 24-bit stereo PCM, about 1.1 GB. Best of three with
# the source in the page cache; the outputs go to the same disk.
set -eu
. bench/measure.sh

source="$BENCH_DIR/v210_1080_8s.mov"
if [ ! -f "$source" ]; then
    ffmpeg -nostdin -hide_banner -loglevel error -y -f lavfi -i testsrc2=size=1920x1080:rate=25:duration=8 \
        -f lavfi -i sine=frequency=1000:sample_rate=48000:duration=8 -c:v v210 -c:a pcm_s24le -ac 2 -f mov \
        "$source.tmp"
    mv "$source.tmp" "$source"
fi
cat "$source" >/dev/null
bytes=$(stat -c %s "$source")
echo "$(basename "$source"): $bytes bytes"
copy="$BENCH_DIR/rewrapped.mov"
RUNS=3 best "cvtool rewrap" sh -c "rm -f '$copy' && '$CVTOOL' rewrap '$source' '$copy'"
ours=$BEST ours_kb=$PEAK
RUNS=3 best "ffmpeg -c copy -f mov" ffmpeg -nostdin -v error -y -i "$source" -map 0 -c copy -f mov "$BENCH_DIR/ffmpeg.mov"
echo "time ours/ffmpeg: $(ratio "$ours" "$BEST") (target at most 1.0); memory: $(ratio "$ours_kb" "$PEAK") (target at most 0.5)"
RUNS=3 best "dd of the same bytes" dd if="$source" of="$BENCH_DIR/dd.bin" bs=1M
echo "throughput ours/dd: $(ratio "$BEST" "$ours") (target at least 0.8)"
rm -f "$copy" "$BENCH_DIR/ffmpeg.mov" "$BENCH_DIR/dd.bin"
