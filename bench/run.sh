#!/bin/sh
# Runs the benchmarks: bench/run.sh [NAME...], NAME being a bench/bench_NAME.sh
# script; all of them without names. Each prints its measures and its ratios
# against ffprobe/ffmpeg (or cat) on the same file, measured in the same run.
set -eu
cd "$(dirname "$0")/.."
tools/setup.sh >/dev/null
export CVTOOL="$PWD/build/cvtool" BENCH_DIR="$PWD/build/bench"
mkdir -p "$BENCH_DIR"
if [ $# -eq 0 ]; then
    set -- $(ls bench/bench_*.sh 2>/dev/null | sed 's|bench/bench_||; s|\.sh$||')
fi
for name in "$@"; do
    echo "== $name"
    sh "bench/bench_$name.sh"
done
