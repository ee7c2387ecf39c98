#!/bin/sh
# Rewrapping through the plug-in's writers: `cvtool rewrap` reads a file as
# the editor does and writes it through the AVI, QuickTime or MXF (OP1a)
# writer resource, against `ffmpeg -c copy` to the same container and `dd`
# of as many bytes. Two sources of about 1 GB: 40 s of 1080p MPEG-2 I-frame
# 4:2:2 ("M701") with 24-bit stereo PCM, which all three take, and 8 s of
# 1080p v210 with 24-bit stereo PCM, for AVI and QuickTime. Best of three
# with the source in the page cache; the outputs go to the same disk.
set -eu
. bench/measure.sh

# `make_source FILE FFMPEG-ARGUMENTS...`: FILE in the bench folder, made once.
make_source() {
    file=$1; shift
    if [ ! -f "$BENCH_DIR/$file" ]; then
        ffmpeg -nostdin -hide_banner -loglevel error -y "$@" "$BENCH_DIR/$file.tmp"
        mv "$BENCH_DIR/$file.tmp" "$BENCH_DIR/$file"
    fi
}
make_source mpeg2_i_1080_40s.avi -f lavfi -i "testsrc2=size=1920x1080:rate=25:duration=40,noise=alls=12:allf=t" \
    -f lavfi -i sine=frequency=1000:sample_rate=48000:duration=40 -c:v mpeg2video -g 1 -qscale:v 2 -intra_vlc 1 \
    -pix_fmt yuv422p -vtag M701 -c:a pcm_s24le -ac 2 -f avi
make_source v210_1080_8s.mov -f lavfi -i testsrc2=size=1920x1080:rate=25:duration=8 \
    -f lavfi -i sine=frequency=1000:sample_rate=48000:duration=8 -c:v v210 -c:a pcm_s24le -ac 2 -f mov

table="| source | container | cvtool rewrap | ffmpeg -c copy | time ours/ffmpeg | memory ours/ffmpeg | throughput ours/dd |
|---|---|---|---|---|---|---|"
for name in mpeg2_i_1080_40s.avi v210_1080_8s.mov; do
    source="$BENCH_DIR/$name"
    cat "$source" >/dev/null
    bytes=$(stat -c %s "$source")
    echo "$name: $bytes bytes"
    RUNS=3 best "dd of the same bytes" dd if="$source" of="$BENCH_DIR/dd.bin" bs=1M
    dd=$BEST
    rm -f "$BENCH_DIR/dd.bin"
    containers="avi mov mxf"
    [ "$name" = v210_1080_8s.mov ] && containers="avi mov"
    for container in $containers; do
        copy="$BENCH_DIR/rewrapped.$container"
        RUNS=3 best "cvtool rewrap to $container" sh -c "rm -f '$copy' && HC_LOG_FILE=/dev/null '$CVTOOL' rewrap '$source' '$copy'"
        ours=$BEST ours_kb=$PEAK
        RUNS=3 best "ffmpeg -c copy -f $container" ffmpeg -nostdin -v error -y -i "$source" -map 0 -c copy \
            -f "$container" "$BENCH_DIR/ffmpeg.$container"
        time_ratio=$(ratio "$ours" "$BEST") memory_ratio=$(ratio "$ours_kb" "$PEAK") dd_ratio=$(ratio "$dd" "$ours")
        echo "time ours/ffmpeg: $time_ratio; memory: $memory_ratio; throughput ours/dd: $dd_ratio"
        table="$table
| $name | $container | $ours s, $((ours_kb / 1024)) MiB | $BEST s, $((PEAK / 1024)) MiB | $time_ratio | $memory_ratio | $dd_ratio |"
        rm -f "$copy" "$BENCH_DIR/ffmpeg.$container"
    done
done
echo "$table"
