#!/bin/sh
# Installs what the build needs on Debian 12 (as root, or through sudo), then
# configures and builds into build/. Safe to run again: it only adds what is missing.
set -eu
cd "$(dirname "$0")/.."

packages="build-essential cmake ninja-build pkg-config uuid-dev libutfcpp-dev libgtest-dev ffmpeg mediainfo binutils time python3 clang libclang-rt-14-dev"
missing=""
for package in $packages; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing="$missing $package"
done
if [ -n "$missing" ]; then
    if [ "$(id -u)" = 0 ]; then as_root=""; else as_root="sudo"; fi
    $as_root apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $as_root apt-get install -y -qq --no-install-recommends $missing
fi

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j "$(nproc)"
