#!/bin/sh
# Builds the libFuzzer targets with clang and runs them.
#   tools/fuzz.sh smoke              each target for a fixed number of runs over its seeds (CI)
#   tools/fuzz.sh campaign SECONDS   each target for SECONDS, growing its corpus in build-fuzz/corpus
# Seeds are the test media made by the suite (build/media) and the regression
# inputs in fuzz/regressions/EXT/; run the suite first. Each target has a
# dictionary of its format's codes in fuzz/EXT.dict.
set -eu
cd "$(dirname "$0")/.."
mode=${1:-smoke}

CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DCV_FUZZ=ON -DCV_TESTS=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build-fuzz -j "$(nproc)"

for target in build-fuzz/fuzz/fuzz_*; do
    extension=${target##*/fuzz_}
    seeds=build-fuzz/seeds/$extension
    corpus=build-fuzz/corpus/$extension
    mkdir -p "$seeds" "$corpus"
    # The QuickTime target takes every file of the family as a seed.
    case "$extension" in mov) patterns="mov mp4 m4a m4v lrv" ;; *) patterns=$extension ;; esac
    for pattern in $patterns; do
        find build/media fuzz/regressions/"$extension" -maxdepth 1 -type f -iname "*.$pattern" \
            -exec cp {} "$seeds"/ \; 2>/dev/null || true
    done
    options="-rss_limit_mb=2048 -max_len=4194304 -print_final_stats=1 -dict=fuzz/$extension.dict"
    echo "== $target"
    case "$mode" in
    smoke)
        # Every seed once, then a short walk from them, the same walk every
        # run; the time-out allows for a loaded machine and still ends a loop.
        scratch=$(mktemp -d)
        status=0
        "$target" $options -seed=1 -timeout=10 -runs=3000 "$scratch" "$seeds" >"$scratch.log" 2>&1 || status=$?
        grep -E '^(#[0-9]+[[:space:]]+DONE|stat::number_of_executed_units)' "$scratch.log" || true
        if [ "$status" != 0 ]; then
            tail -60 "$scratch.log"
            echo "$target failed (exit $status)" >&2
            exit 1
        fi
        rm -rf "$scratch" "$scratch.log" ;;
    campaign)
        "$target" $options -timeout=1 -max_total_time="${2:?seconds}" "$corpus" "$seeds" 2>&1 | tail -12 ;;
    *)
        echo "usage: tools/fuzz.sh smoke | campaign SECONDS" >&2
        exit 2 ;;
    esac
done
