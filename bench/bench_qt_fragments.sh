#!/bin/sh
# Fragmented MP4: the last frame of files of 2,000 and 20,000 fragments
# (frag_keyframe, a fragment every five frames), read with cvtool read
# --frame, with mfra (a jump) and without it (skip_trailer: a walk over every
# moof), against ffprobe seeking to the last second with -read_intervals
# and listing its packets. With
# mfra our cost should not grow with the fragment count; best of five runs
# with the files in the page cache.
set -eu
. bench/measure.sh

ff() { ffmpeg -nostdin -hide_banner -loglevel error -y "$@"; }
seed="$BENCH_DIR/frag_seed.mp4"
[ -f "$seed" ] || ff -f lavfi -i testsrc2=size=64x64:rate=25:duration=0.4 -c:v libx264 -preset ultrafast \
    -threads 1 -g 5 -keyint_min 5 -sc_threshold 0 -bf 0 -f mp4 "$seed"

for fragments in 2000 20000; do
    loops=$((fragments / 2 - 1))
    for kind in mfra no_mfra; do
        movie="$BENCH_DIR/frag_${fragments}_$kind.mp4"
        flags=frag_keyframe+empty_moov
        [ "$kind" = no_mfra ] && flags=$flags+skip_trailer
        if [ ! -f "$movie" ]; then
            ff -stream_loop "$loops" -i "$seed" -c copy -movflags "$flags" -f mp4 "$movie.tmp"
            mv "$movie.tmp" "$movie"
        fi
        cat "$movie" >/dev/null
        last=$(($(ffprobe -v error -select_streams v -count_packets -show_entries stream=nb_read_packets -of csv=p=0 "$movie") - 1))
        echo "$fragments fragments, $kind: $("$CVTOOL" read --frame "$last" "$movie")"
        best "cvtool read --frame $last" "$CVTOOL" read --frame "$last" "$movie"
        ours=$BEST
        best "ffprobe -read_intervals (last packet)" ffprobe -v error -select_streams v -show_packets \
            -read_intervals "$((last / 25))%" "$movie"
        echo "time ours/ffprobe: $(ratio "$ours" "$BEST")"
        eval "ours_${fragments}_$kind=$ours"
    done
done
echo "with mfra, 20,000/2,000 fragments time: $(ratio "$ours_20000_mfra" "$ours_2000_mfra") (target about 1)"
echo "without mfra, 20,000/2,000 fragments time: $(ratio "$ours_20000_no_mfra" "$ours_2000_no_mfra")"
