#!/bin/sh
# Builds everything and runs every test.
set -eu
cd "$(dirname "$0")/.."
tools/setup.sh
ctest --test-dir build --output-on-failure -j "$(nproc)"
