#!/usr/bin/env python3
"""A consumer written for ffprobe's JSON, the way one is written against
ffprobe: it reads the document on standard input and prints the file's
length, each stream's length, frames, picture area or sound layout, and the
packets' total size, taking each value as ffprobe types it."""
import json
import sys

probe = json.load(sys.stdin)
fmt = probe["format"]
print(fmt["format_name"], float(fmt.get("duration", "0")), int(fmt["size"]))
for stream in probe["streams"]:
    line = [stream["index"], stream["codec_type"], float(stream.get("duration", "0")),
            int(stream.get("nb_frames", "0"))]
    if stream["codec_type"] == "video":
        line.append(stream["width"] * stream["height"])
    if stream["codec_type"] == "audio":
        line.append([int(stream["sample_rate"])] * stream["channels"])
    print(*line)
packets = probe.get("packets", [])
print(len(packets), sum(int(packet["size"]) for packet in packets),
      max([int(packet["pos"]) for packet in packets] + [0]), sorted({packet["stream_index"] + 0 for packet in packets}))
