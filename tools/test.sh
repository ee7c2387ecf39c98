#!/bin/sh
# Builds everything and runs every test, the conformance run over the
# real-world files when they are there, then a short run of each fuzz target
# over its seeds, so that an input that once crashed a reader fails the run.
set -eu
cd "$(dirname "$0")/.."
tools/setup.sh
ctest --test-dir build --output-on-failure -j "$(nproc)"
# Files written by other cameras, phones, packagers and editors, when the
# shared corpus lies beside the clone.
if [ -d ../shared/real-media ]; then
    tools/conformance.sh ../shared/real-media
fi
tools/fuzz.sh smoke
