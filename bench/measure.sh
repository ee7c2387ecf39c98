# Shared by the benchmark scripts: `measure LABEL COMMAND...` runs a command
# with its output thrown away and sets SECONDS_TAKEN and PEAK_KB (maximum
# resident size) from GNU time.
measure() {
    label=$1; shift
    /usr/bin/time -f "%e %M" -o "$BENCH_DIR/.time" "$@" >/dev/null 2>&1
    read SECONDS_TAKEN PEAK_KB < "$BENCH_DIR/.time"
    printf '%-40s %8.2f s %10d KiB\n' "$label" "$SECONDS_TAKEN" "$PEAK_KB"
}
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { if (b > 0) printf "%.3f", a / b; else print "n/a" }'; }
