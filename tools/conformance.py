#!/usr/bin/env python3
"""Compares what the plug-in reads in every media file of a folder with what
ffprobe read in it, as saved beside each file in FILE.probe.json.

A file agrees when, stream kind by stream kind and in order:
  - every video stream has ffprobe's width and height, and ffprobe's packets in
    decode order with the same size, MD5 and key flag;
  - every audio stream holds ffprobe's total bytes (leading packets that
    ffprobe flags discardable, such as AAC priming, may be left out);
  - the start timecode, where ffprobe names one, is ffprobe's.
Files that a SOURCES.md table marks "may refuse" may instead be refused with a
message. A crash, a hang or output that is not JSON always falls short.

Three things ffprobe does are not taken as ground truth, because the file
does not say them: it repeats the packet of an attached picture (cover art);
it lists no packet for a track whose edit list shows nothing although the
track holds frames; and it leaves out the repeated frames of an AVI capture
(index entries of size 0, which the plug-in reads as the frame before them),
so a packet of ours that repeats the one before it, or has no bytes, is not
compared.
Where ffprobe is wrong about one file in a way no general rule can see, the
file is named in a list of known differences (tools/conformance-known.txt),
with the kind of difference that is accepted for it.
"""

import argparse
import json
import os
import re
import signal
import subprocess
import sys

MEDIA_EXTENSIONS = {".avi", ".mxf", ".mov", ".mp4", ".m4v", ".m4a", ".lrv"}


def may_refuse_list(folder):
    """Names that a SOURCES.md table marks "may refuse" (last column "yes")."""
    path = os.path.join(folder, "SOURCES.md")
    names = set()
    if not os.path.exists(path):
        return names
    with open(path, encoding="utf-8") as sources:
        for line in sources:
            cells = [cell.strip() for cell in line.strip().strip("|").split("|")]
            match = re.fullmatch(r"`([^`]+)`", cells[0]) if cells else None
            if match and cells[-1].lower() == "yes":
                names.add(match.group(1))
    return names


def streams_of(probe, kind):
    return [s for s in probe.get("streams", []) if s.get("codec_type") == kind]


def packets_of(probe, index):
    return [p for p in probe.get("packets", []) if p.get("stream_index") == index]


def is_key(packet):
    return packet.get("flags", "_")[0] == "K"


def is_discard(packet):
    return "D" in packet.get("flags", "")


def timecode_of(probe):
    for holder in [probe.get("format", {})] + probe.get("streams", []):
        timecode = holder.get("tags", {}).get("timecode")
        if timecode:
            return timecode
    return None


def without_repeats(packets):
    kept = []
    for packet in packets:
        if int(packet["size"]) == 0:
            continue
        if kept and (kept[-1].get("pos"), kept[-1]["size"]) == (packet.get("pos"), packet["size"]):
            continue
        kept.append(packet)
    return kept


def known_differences(path):
    """File name -> kinds of difference accepted for it."""
    known = {}
    if path and os.path.exists(path):
        with open(path, encoding="utf-8") as listing:
            for line in listing:
                words = line.split("#", 1)[0].split()
                if len(words) >= 2:
                    known.setdefault(words[0], set()).update(words[1:])
    return known


def compare_video(number, want_stream, want, got_stream, got, accepted):
    for key in ("width", "height"):
        if int(want_stream.get(key, 0)) != int(got_stream.get(key, 0)):
            return "video %d: %s %s, ffprobe %s" % (number, key, got_stream.get(key), want_stream.get(key))
    if want_stream.get("disposition", {}).get("attached_pic"):
        # ffprobe hands an attached picture out once more as a packet of its own.
        seen, unique = set(), []
        for packet in want:
            if packet.get("pos") not in seen:
                seen.add(packet.get("pos"))
                unique.append(packet)
        want = unique
    got = without_repeats(got)
    if not want and int(want_stream.get("nb_frames", 0) or 0) == len(got) and got:
        return None  # ffprobe lists nothing that its edit list hides; the frames are there
    if "extra-packets" in accepted and len(got) < len(want):
        want = want[:len(got)]
    if len(want) != len(got):
        return "video %d: %d packets, ffprobe %d" % (number, len(got), len(want))
    for n, (w, g) in enumerate(zip(want, got)):
        if int(w["size"]) != int(g["size"]):
            return "video %d packet %d: size %s, ffprobe %s" % (number, n, g["size"], w["size"])
        if w.get("data_hash") != g.get("data_hash"):
            return "video %d packet %d: bytes differ" % (number, n)
        if is_key(w) != is_key(g) and not (is_key(w) and "extra-key" in accepted):
            return "video %d packet %d: key %s, ffprobe %s" % (number, n, is_key(g), is_key(w))
    return None


def compare_audio(number, want, got):
    total = sum(int(p["size"]) for p in want)
    allowed = {total}
    dropped = 0
    for packet in want:
        if not is_discard(packet):
            break
        dropped += int(packet["size"])
        allowed.add(total - dropped)
    have = sum(int(p["size"]) for p in got)
    if have not in allowed:
        return "audio %d: %d bytes, ffprobe %d" % (number, have, total)
    return None


def compare(want, got, accepted):
    for kind in ("video", "audio"):
        want_streams, got_streams = streams_of(want, kind), streams_of(got, kind)
        if len(want_streams) != len(got_streams):
            return "%d %s streams, ffprobe %d" % (len(got_streams), kind, len(want_streams))
        for number, (w, g) in enumerate(zip(want_streams, got_streams)):
            w_packets, g_packets = packets_of(want, w["index"]), packets_of(got, g["index"])
            if kind == "video":
                fault = compare_video(number, w, w_packets, g, g_packets, accepted)
            else:
                fault = compare_audio(number, w_packets, g_packets)
            if fault:
                return fault
    want_timecode = timecode_of(want)
    if want_timecode and timecode_of(got) != want_timecode:
        return "timecode %s, ffprobe %s" % (timecode_of(got), want_timecode)
    return None


def judge(cvtool, path, may_refuse, accepted, seconds):
    """Returns (verdict, detail); the verdict is "agrees", "refused" or "short"."""
    with open(path + ".probe.json", encoding="utf-8") as truth:
        want = json.load(truth)
    try:
        run = subprocess.run([cvtool, "probe", "--packets", "--hash", "md5", path],
                             capture_output=True, text=True, timeout=seconds)
    except subprocess.TimeoutExpired:
        return "short", "no answer in %d s" % seconds
    message = " / ".join(line.strip() for line in run.stderr.splitlines() if line.strip())
    if run.returncode < 0:
        return "short", "killed by %s" % signal.Signals(-run.returncode).name
    if run.returncode != 0:
        if may_refuse and message:
            return "refused", message
        return "short", "refused: %s" % (message or "exit %d, no message" % run.returncode)
    try:
        got = json.loads(run.stdout)
    except ValueError:
        return "short", "output is not JSON"
    if want.get("ffprobe_exit_status"):
        return "agrees", "read; ffprobe refuses it"
    fault = compare(want, got, accepted)
    if fault:
        return "short", fault
    return "agrees", ""


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("folder")
    parser.add_argument("--cvtool", default=os.environ.get("CVTOOL", "build/cvtool"))
    parser.add_argument("--known", default=os.path.join(os.path.dirname(os.path.abspath(__file__)),
                                                        "conformance-known.txt"),
                        help="list of known differences where ffprobe is wrong")
    parser.add_argument("--seconds", type=int, default=120, help="time allowed per file")
    parser.add_argument("--skip", action="append", default=[], metavar="EXT",
                        help="leave out files with this extension (e.g. mxf); may be repeated")
    options = parser.parse_args()

    may_refuse = may_refuse_list(options.folder)
    known = known_differences(options.known)
    skipped = {"." + ext.lower().lstrip(".") for ext in options.skip}
    names = sorted(name for name in os.listdir(options.folder)
                   if os.path.splitext(name)[1].lower() in MEDIA_EXTENSIONS - skipped
                   and os.path.exists(os.path.join(options.folder, name + ".probe.json")))
    counts = {"agrees": 0, "refused": 0, "short": 0}
    for name in names:
        verdict, detail = judge(options.cvtool, os.path.join(options.folder, name), name in may_refuse,
                                known.get(name, set()), options.seconds)
        counts[verdict] += 1
        print("%-8s %s%s" % (verdict, name, ": " + detail if detail else ""), flush=True)
    print("conformance: %d files; %d agree with ffprobe, %d refused where allowed, %d fall short"
          % (len(names), counts["agrees"], counts["refused"], counts["short"]))
    return 1 if counts["short"] else 0


if __name__ == "__main__":
    sys.exit(main())
