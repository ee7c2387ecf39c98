# Shared by the benchmark scripts: `measure LABEL COMMAND...` runs a command
# with its output thrown away and sets SECONDS_TAKEN (wall clock) and PEAK_KB
# (maximum resident size, from GNU time).
measure() {
    label=$1; shift
    started=$(date +%s%N)
    /usr/bin/time -f "%M" -o "$BENCH_DIR/.time" "$@" >/dev/null 2>&1
    SECONDS_TAKEN=$(awk -v a="$started" -v b="$(date +%s%N)" 'BEGIN { printf "%.4f", (b - a) / 1e9 }')
    read PEAK_KB < "$BENCH_DIR/.time"
    printf '%-40s %8.3f s %10d KiB\n' "$label" "$SECONDS_TAKEN" "$PEAK_KB"
}
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { if (b > 0) printf "%.3f", a / b; else print "n/a" }'; }
# `best LABEL COMMAND...`: the shortest of five runs (RUNS, when set) in
# BEST, with PEAK its peak memory.
best() {
    label=$1; shift
    BEST=
    for run in $(seq "${RUNS:-5}"); do
        measure "$label" "$@" >/dev/null
        BEST=$(awk -v a="$SECONDS_TAKEN" -v b="${BEST:-1e9}" 'BEGIN { print (a < b) ? a : b }')
        PEAK=$PEAK_KB
    done
    printf '%-40s %8.3f s %10d KiB\n' "$label" "$BEST" "$PEAK"
}
