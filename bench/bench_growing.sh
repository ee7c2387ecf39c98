# Growing files. The sidecar index: appending 3,000,000 rows and reading them
# back in order and at random from one and two threads, in ns per row,
# against cat moving the same file's bytes; a random get against a get in
# order, which the cache answers. Seeks: a random get and the search back to
# a key frame 1,000 and 99,999 frames before, per frame stepped over, against
# cat and against a get in order. Then the delay between a capture writing a
# frame and a follower reading it, against the block period: the capture
# writes its rows in blocks of 30 frames, 1.2 s at 25 frames a second.
set -eu
. bench/measure.sh
dir="$BENCH_DIR/growing"
mkdir -p "$dir"
now() { date +%s%N; }
perRow() { awk -v a="$1" -v b="$2" -v n="$3" 'BEGIN { printf "%.1f", (b - a) / n }'; }

"$CVTOOL" indexbench --rows 3000000 --gets 5000 "$dir" > "$dir/index.txt"
value() { awk -v key="$1" '$1 == key { print $2 }' "$dir/index.txt"; }
rows=$(value rows)
index="$dir/indexbench.mov.0.cvindex"
start=$(now); cat "$index" > "$dir/copy.cvindex"; end=$(now)
catWrite=$(perRow "$start" "$end" "$rows")
start=$(now); cat "$index" > /dev/null; end=$(now)
catRead=$(perRow "$start" "$end" "$rows")
rm -f "$index" "$dir/copy.cvindex"

line() { printf '%-34s %12s ns   cat %8s ns   ratio %s\n' "$1" "$2" "$3" "$(ratio "$2" "$3")"; }
line "append, per row" "$(value append_ns_per_row)" "$catWrite"
line "get in order, per row" "$(value get_sequential_ns)" "$catRead"
line "get at random, 1 thread" "$(value get_random_1thread_ns)" "$catRead"
line "get at random, 2 threads" "$(value get_random_2threads_ns)" "$catRead"
line "seek 1,000 back, per frame" "$(value keyframe_back_1000_ns_per_frame)" "$catRead"
line "seek 99,999 back, per frame" "$(value keyframe_back_99999_ns_per_frame)" "$catRead"
inOrder=$(value get_sequential_ns)
against() { printf '%-34s %12s ns   in order %6s ns   ratio %s\n' "$1" "$2" "$inOrder" "$(ratio "$2" "$inOrder")"; }
against "get at random, against in order" "$(value get_random_1thread_ns)"
against "seek 1,000 back, per frame" "$(value keyframe_back_1000_ns_per_frame)"
against "seek 99,999 back, per frame" "$(value keyframe_back_99999_ns_per_frame)"
printf '%-34s %12s ns   %s ns for 99,999 back\n' "seek, whole: 1,000 back" "$(value keyframe_back_1000_ns)" \
    "$(value keyframe_back_99999_ns)"

CVTOOL="$CVTOOL" tools/capture_follow.sh 10 "$dir/live" > /dev/null
awk 'NR == FNR { written[$1 " " $2] = $4; next }
     ($1 " " $2) in written { printf "%.3f\n", ($4 - written[$1 " " $2]) / 1e6 }' \
    "$dir/live/capture.txt" "$dir/live/follow.txt" | sort -n > "$dir/delays.txt"
awk '{ d[NR] = $1; sum += $1 }
     END {
         printf "%-34s mean %.0f ms, median %.0f ms, max %.0f ms over %d frames\n", "write to read delay",
                sum / NR, d[int((NR + 1) / 2)], d[NR], NR
         printf "%-34s ratio %.3f (mean delay / 1200 ms block period)\n", "", sum / NR / 1200
     }' "$dir/delays.txt"
