#!/bin/sh
# Builds everything and runs every test, then a short run of each fuzz target
# over its seeds, so that an input that once crashed a reader fails the run.
set -eu
cd "$(dirname "$0")/.."
tools/setup.sh
ctest --test-dir build --output-on-failure -j "$(nproc)"
tools/fuzz.sh smoke
