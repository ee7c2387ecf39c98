#!/bin/sh
# Reads every media file of a folder through the plug-in and compares the
# result with ffprobe's view saved beside it (FILE.probe.json): one line per
# file, then a summary. Exits 1 when a file falls short.
#   tools/conformance.sh [--skip EXT] [--seconds N] [--cvtool PATH] DIR
set -eu
command -v python3 >/dev/null || { echo "conformance: python3 is needed" >&2; exit 2; }
exec python3 "$(dirname "$0")/conformance.py" "$@"
