#!/bin/sh
# The plug-in's main job in a screenful: ffmpeg makes a short DV movie (AVI) with
# sound; cvtool probes it through the plug-in, rewraps it through the
# plug-in's writers to MXF, to an OP-Atom family (a file per track) and to
# AVI, and the MXF file back to a movie, and probes each copy; ffprobe then
# reads each copy's pictures and sound and finds the movie's, byte for byte.
set -eu
cd "$(dirname "$0")/.."
tools/setup.sh >/dev/null
out=build/demo
cvtool=build/cvtool
rm -rf "$out" && mkdir -p "$out"
ffmpeg -nostdin -loglevel error -f lavfi -i testsrc2=size=720x576:rate=25:duration=2 \
    -f lavfi -i sine=frequency=1000:sample_rate=48000:duration=2 \
    -c:v dvvideo -pix_fmt yuv420p -c:a pcm_s16le -ac 2 "$out/movie.avi"

# A line per stream of cvtool's JSON, which has ffprobe's keys and types.
streams() {
    python3 -c 'import json, sys
for s in json.load(sys.stdin)["streams"]:
    shape = {"video": "%(width)sx%(height)s", "audio": "%(sample_rate)s Hz x %(channels)s"}.get(s["codec_type"], "")
    seconds = s["duration"] + " s" if "duration" in s else ""
    print("  %d %-5s %-4s %-14s %6s samples %s" % (s["index"], s["codec_type"], s.get("codec_tag_string", ""),
          shape % s, s["nb_frames"], seconds))'
}
# What ffprobe reads: the MD5 of every picture, and of the decoded sound.
pictures() { ffprobe -v error -select_streams v -show_entries packet=data_hash -show_data_hash MD5 -of csv=p=0 "$1"; }
sound() { ffmpeg -nostdin -v error -i "$1" -map 0:a -f md5 - 2>/dev/null || echo none; }

echo "== cvtool probe movie.avi"
"$cvtool" probe "$out/movie.avi" | streams
for step in movie.avi:op1a.mxf movie.avi:opatom.mxf movie.avi:opendml.avi op1a.mxf:back.mov; do
    source=${step%%:*} target=${step#*:}
    options=""
    [ "$target" = opatom.mxf ] && options=--op-atom
    echo "== cvtool rewrap ${options:+$options }$source $target"
    "$cvtool" rewrap $options "$out/$source" "$out/$target"
    for file in "$out/${target%.*}".*; do
        echo "$(basename "$file"):"
        "$cvtool" probe "$file" | streams
    done
    # An OP-Atom family keeps its sound in a file beside the pictures'.
    sounded=$(ls "$out/${target%.*}".a1.mxf 2>/dev/null || echo "$out/$target")
    same_pictures=no same_sound=no
    [ "$(pictures "$out/$target")" = "$(pictures "$out/movie.avi")" ] && same_pictures=yes
    [ "$(sound "$sounded")" = "$(sound "$out/movie.avi")" ] && same_sound=yes
    echo "ffprobe: the movie's $(pictures "$out/movie.avi" | wc -l) pictures: $same_pictures; its sound: $same_sound"
done
