#!/bin/sh
# Makes one test file with ffmpeg, with fixed settings so that every run gives
# the same file: make_media.sh OUTDIR NAME. Files are written under a temporary
# name and renamed, so a file that exists is complete.
set -eu
out=$1
name=$2
mkdir -p "$out"
tmp="$out/.tmp.$$.$name"
trap 'rm -f "$tmp" "$tmp.whole"' EXIT

ff() { ffmpeg -nostdin -hide_banner -loglevel error -y "$@"; }
exact="-fflags +bitexact -flags:v +bitexact -flags:a +bitexact -map_metadata -1"
video() { echo "-f lavfi -i testsrc2=size=${1}:rate=${2}:duration=${3}"; }
tone() { echo "-f lavfi -i sine=frequency=1000:sample_rate=${1}:duration=${2}"; }

case "$name" in
prores_pcm24_tc.mov)
    ff $(video 320x240 25 2) $(tone 48000 2) -c:v prores_ks -profile:v 2 -c:a pcm_s24le -ac 2 \
        -timecode 01:00:00:00 $exact -f mov "$tmp" ;;
avi_mjpeg_pcm16.avi)
    ff $(video 320x240 25 2) $(tone 48000 2) -c:v mjpeg -q:v 5 -c:a pcm_s16le -ac 2 $exact \
        -metadata title="Corvidane AVI" -f avi "$tmp" ;;
avi_dv_pal.avi)
    ff $(video 720x576 25 1) $(tone 48000 1) -c:v dvvideo -pix_fmt yuv420p -c:a pcm_s16le -ac 2 $exact -f avi "$tmp" ;;
avi_dv_ntsc.avi)
    ff $(video 720x480 30000/1001 1) $(tone 48000 1) -c:v dvvideo -pix_fmt yuv411p -c:a pcm_s16le -ac 2 $exact \
        -f avi "$tmp" ;;
avi_mpeg2_gop.avi)
    ff $(video 352x288 25 2) $(tone 48000 2) -c:v mpeg2video -g 12 -bf 2 -b:v 2M -c:a pcm_s16le $exact -f avi "$tmp" ;;
avi_mmes_gop.avi)
    # MPEG-2 long GOP under the editor's own AVI code, without sound.
    ff $(video 352x288 25 2) -c:v mpeg2video -g 12 -bf 2 -b:v 2M -vtag MMES $exact -f avi "$tmp" ;;
avi_h264.avi)
    ff $(video 320x240 25 2) -c:v libx264 -g 25 -bf 2 -threads 1 $exact -f avi "$tmp" ;;
avi_uyvy.avi)
    ff $(video 160x120 25 1) -c:v rawvideo -pix_fmt uyvy422 -vtag UYVY $exact -f avi "$tmp" ;;
avi_opendml_1g.avi)
    # Above 1 GiB: ffmpeg rolls over into AVIX RIFFs with an ix## per stream each.
    ff $(video 1920x1080 25 11) $(tone 48000 11) -c:v rawvideo -pix_fmt uyvy422 -vtag UYVY -c:a pcm_s16le \
        $exact -f avi "$tmp" ;;
avi_long_idx1.avi)
    # Ten minutes of tiny frames with audio: an idx1 of some 40000 entries.
    ff $(video 64x48 25 600) $(tone 48000 600) -c:v mjpeg -q:v 20 -c:a pcm_s16le $exact -f avi "$tmp" ;;
mjpeg_small.mov)
    ff $(video 64x48 25 1) -c:v mjpeg -q:v 5 $exact -f mov "$tmp" ;;
raw_mpeg2_gop.m2v)
    # Closed GOPs of 12 with B pictures, as elementary stream: the MXF writer's source.
    ff $(video 720x576 25 2) -c:v mpeg2video -g 12 -bf 2 -flags +cgop -b:v 8M -pix_fmt yuv422p $exact \
        -f mpeg2video "$tmp" ;;
raw_mpeg2_ntsc.m2v)
    ff $(video 720x480 30000/1001 2) -c:v mpeg2video -g 15 -bf 2 -flags +cgop -b:v 8M -pix_fmt yuv422p $exact \
        -f mpeg2video "$tmp" ;;
raw_mpeg2_xd50.m2v)
    # XDCAM HD 422 shaped: 1080i 4:2:2 long GOP at 50 Mbit/s.
    ff $(video 1920x1080 25 1.2) -c:v mpeg2video -pix_fmt yuv422p -flags +ilme+ildct+cgop -top 1 -g 12 -bf 2 \
        -b:v 50M $exact -f mpeg2video "$tmp" ;;
raw_mpeg2_12s.m2v)
    # Twelve seconds of small 4:2:2 long GOP: more than one XDCAM partition.
    ff $(video 720x576 25 12) -c:v mpeg2video -pix_fmt yuv422p -flags +cgop -g 12 -bf 2 -b:v 1M $exact \
        -f mpeg2video "$tmp" ;;
raw_mpeg2_25s.m2v)
    # Twenty-five seconds of small 4:2:2 long GOP: XDCAM partitions, and a
    # flush, every ten seconds or so.
    ff $(video 320x240 25 25) -c:v mpeg2video -pix_fmt yuv422p -flags +cgop -g 12 -bf 2 -b:v 300k $exact \
        -f mpeg2video "$tmp" ;;
raw_avci100.h264)
    # AVC-Intra 100: 10-bit 4:2:2 intra frames of one size.
    ff $(video 1920x1080 25 0.2) -c:v libx264 -avcintra-class 100 -pix_fmt yuv422p10le -threads 1 $exact \
        -f h264 "$tmp" ;;
raw_dv_pal.dv)
    ff $(video 720x576 25 1) -c:v dvvideo -pix_fmt yuv420p $exact -f dv "$tmp" ;;
raw_dnxhd_36.dnxhd)
    ff $(video 1920x1080 25 0.4) -c:v dnxhd -b:v 36M -pix_fmt yuv422p $exact -f dnxhd "$tmp" ;;
raw_pcm16_48k.s16le)
    ff $(tone 48000 2) -ac 2 -c:a pcm_s16le $exact -f s16le "$tmp" ;;
raw_pcm24_48k.s24le)
    ff $(tone 48000 2) -ac 2 -c:a pcm_s24le $exact -f s24le "$tmp" ;;
raw_pcm24_mono.s24le)
    ff $(tone 48000 1) -ac 1 -c:a pcm_s24le $exact -f s24le "$tmp" ;;
mpeg2_pcm16_growing.mxf)
    # Long GOPs with B pictures and one audio element per frame, as a capture writes them.
    ff $(video 320x240 25 4) $(tone 48000 4) -c:v mpeg2video -g 12 -bf 2 -b:v 1M -pix_fmt yuv422p \
        -c:a pcm_s16le -ac 2 $exact -f mxf "$tmp" ;;
mxf_op1a_mpeg2_tc.mxf)
    # OP1a: MPEG-2 with PCM and a timecode track, metadata repeated in the footer.
    ff $(video 320x240 25 1) $(tone 48000 1) -c:v mpeg2video -g 12 -bf 2 -b:v 1M -pix_fmt yuv422p \
        -c:a pcm_s16le -ac 2 -timecode 10:00:00:00 $exact -f mxf "$tmp" ;;
mxf_comments.mxf)
    # OP1a with user comments, which ffmpeg writes as tagged values of the material package.
    ff $(video 320x240 25 0.2) -c:v mpeg2video -b:v 1M $exact -metadata comment_TapeID=Reel-7 \
        -metadata comment_Scene=12A -metadata comment_Take=3 -metadata "comment_Comments=sunset, wide" \
        -metadata comment__PJ=Heron -metadata comment_ClipName=Dock -metadata "comment_Shoot Date=2024-05-01" \
        -f mxf "$tmp" ;;
mxf_opatom_dnxhd.mxf)
    ff $(video 1920x1080 25 0.2) -c:v dnxhd -b:v 36M -pix_fmt yuv422p $exact -f mxf_opatom "$tmp" ;;
mxf_d10.mxf)
    # D-10 (IMX 30): intra MPEG-2 at a constant 30 Mbit/s in 608 lines, AES3 sound.
    ff $(video 720x608 25 0.4) $(tone 48000 0.4) -c:v mpeg2video -pix_fmt yuv422p -g 1 -b:v 30M -minrate 30M \
        -maxrate 30M -bufsize 1200000 -rc_init_occupancy 1200000 -c:a pcm_s16le -ac 2 $exact -f mxf_d10 "$tmp" ;;
mxf_op1a_mpeg2_pcm24.mxf)
    # Long GOP MPEG-2 with 24-bit sound and a timecode track.
    ff $(video 320x240 25 0.4) $(tone 48000 0.4) -c:v mpeg2video -g 12 -bf 2 -b:v 1M -pix_fmt yuv422p \
        -c:a pcm_s24le -ac 2 -timecode 10:00:00:00 $exact -f mxf "$tmp" ;;
mxf_op1a_dv.mxf)
    ff $(video 720x576 25 0.4) $(tone 48000 0.4) -c:v dvvideo -pix_fmt yuv420p -c:a pcm_s16le -ac 2 $exact \
        -f mxf "$tmp" ;;
mxf_op1a_dnxhd.mxf)
    # Intra frames of one size: ffmpeg writes a constant-size index.
    ff $(video 1920x1080 25 0.2) $(tone 48000 0.2) -c:v dnxhd -b:v 36M -pix_fmt yuv422p -c:a pcm_s24le -ac 2 \
        $exact -f mxf "$tmp" ;;
mxf_opatom_pcm24.mxf)
    ff $(tone 48000 0.4) -c:a pcm_s24le -ac 1 $exact -f mxf_opatom "$tmp" ;;
mxf_prores.mxf)
    ff $(video 1920x1080 25 0.2) -c:v prores -profile:v 2 -pix_fmt yuv422p10le $exact -f mxf "$tmp" ;;
mxf_jpeg2000.mxf)
    ff $(video 320x240 25 0.2) -c:v jpeg2000 -pix_fmt yuv422p $exact -f mxf "$tmp" ;;
mxf_h264.mxf)
    ff $(video 1920x1080 25 0.2) -c:v libx264 -threads 1 -preset veryfast -g 12 -pix_fmt yuv420p $exact \
        -f mxf "$tmp" ;;
mxf_pipe.mxf)
    # Written to a pipe: no seeking back, so the header partition stays open and incomplete.
    ff $(video 320x240 25 1) -c:v mpeg2video -pix_fmt yuv422p $exact -f mxf pipe:1 > "$tmp" ;;
mxf_op1a_mpeg2_pcm24_tc.mxf)
    # OP1a long GOP MPEG-2 with 24-bit sound and a timecode track.
    ff $(video 320x240 25 1) $(tone 48000 1) -c:v mpeg2video -g 12 -bf 2 -b:v 1M -pix_fmt yuv422p \
        -c:a pcm_s24le -ac 2 -timecode 10:00:00:00 $exact -f mxf "$tmp" ;;
mxf_dropframe.mxf)
    # Drop-frame timecode at 29.97 frames a second.
    ff $(video 320x240 30000/1001 1) $(tone 48000 1) -c:v mpeg2video -g 15 -bf 2 -b:v 1M -pix_fmt yuv422p \
        -c:a pcm_s16le -ac 2 -timecode 01:00:00\;00 $exact -f mxf "$tmp" ;;
mxf_1000_frames.mxf)
    # 40 s of small frames: ffmpeg starts a body partition every few hundred
    # edit units and indexes each in the partition after it.
    ff $(video 160x120 25 40) $(tone 48000 40) -c:v mpeg2video -g 12 -bf 2 -b:v 300k -pix_fmt yuv422p \
        -c:a pcm_s16le -ac 1 $exact -f mxf "$tmp" ;;
h264_aac.mp4)
    ff $(video 320x240 25 4) $(tone 48000 4) -c:v libx264 -threads 1 -preset veryfast -bf 2 -g 12 \
        -pix_fmt yuv420p -c:a aac -b:a 96k -ac 2 $exact -movflags +faststart -f mp4 "$tmp" ;;
frag_empty_moov.mp4)
    # Fragments of one GOP each after an empty moov; base offsets written in every tfhd.
    ff $(video 320x240 25 4) $(tone 48000 4) -c:v libx264 -threads 1 -preset veryfast -bf 2 -g 12 \
        -pix_fmt yuv420p -c:a aac -b:a 96k -ac 2 $exact -movflags frag_keyframe+empty_moov -f mp4 "$tmp" ;;
frag_base_moof.mp4)
    ff $(video 320x240 25 4) $(tone 48000 4) -c:v libx264 -threads 1 -preset veryfast -bf 2 -g 12 \
        -pix_fmt yuv420p -c:a aac -b:a 96k -ac 2 $exact -movflags frag_keyframe+empty_moov+default_base_moof \
        -f mp4 "$tmp" ;;
frag_no_mfra.mp4)
    ff $(video 320x240 25 4) $(tone 48000 4) -c:v libx264 -threads 1 -preset veryfast -bf 2 -g 12 \
        -pix_fmt yuv420p -c:a aac -b:a 96k -ac 2 $exact -movflags frag_keyframe+empty_moov+skip_trailer \
        -f mp4 "$tmp" ;;
frag_moov_samples.mp4)
    # The first fragment's samples are described in moov itself.
    ff $(video 320x240 25 4) $(tone 48000 4) -c:v libx264 -threads 1 -preset veryfast -bf 2 -g 12 \
        -pix_fmt yuv420p -c:a aac -b:a 96k -ac 2 $exact -movflags frag_keyframe -f mp4 "$tmp" ;;
frag_negative_cts.mp4)
    ff $(video 320x240 25 4) $(tone 48000 4) -c:v libx264 -threads 1 -preset veryfast -bf 2 -g 12 \
        -pix_fmt yuv420p -c:a aac -b:a 96k -ac 2 $exact -movflags frag_keyframe+empty_moov+negative_cts_offsets \
        -f mp4 "$tmp" ;;
frag_separate_moof.mp4)
    # One moof per track, cut every 0.2 s rather than at key frames, and audio
    # that ends before the video: most fragments lack a track, many a key frame.
    ff $(video 320x240 25 4) $(tone 48000 1.5) -c:v libx264 -threads 1 -preset veryfast -bf 2 -g 12 \
        -pix_fmt yuv420p -c:a aac -b:a 96k -ac 2 $exact -movflags empty_moov+separate_moof -frag_duration 200000 \
        -f mp4 "$tmp" ;;
frag_implicit_base.mp4)
    # No base offset and no default-base-is-moof in any tfhd: the first traf's
    # data counts from its moof, the second's from the end of the first's.
    ff $(video 320x240 25 4) $(tone 48000 4) -c:v libx264 -threads 1 -preset veryfast -bf 2 -g 12 \
        -pix_fmt yuv420p -c:a aac -b:a 96k -ac 2 $exact -movflags frag_keyframe+empty_moov+omit_tfhd_offset \
        -f mp4 "$tmp" ;;
h264_dropframe.mov)
    ff $(video 320x240 30000/1001 3) $(tone 48000 3) -c:v libx264 -threads 1 -preset veryfast -bf 2 -g 15 \
        -pix_fmt yuv420p -c:a pcm_s16le -timecode 01:00:00\;00 $exact -f mov "$tmp" ;;
mpeg2_longgop.mov)
    ff $(video 352x288 25 3) $(tone 48000 3) -c:v mpeg2video -g 12 -bf 2 -b:v 2M -c:a pcm_s16be \
        -timecode 10:00:00:00 $exact -f mov "$tmp" ;;
mpeg2_422_1080i.mov)
    # XDCAM HD422's picture: 4:2:2 MPEG-2, 1080i25, 12-frame open GOPs.
    ff $(video 1920x1080 25 2) $(tone 48000 2) -c:v mpeg2video -pix_fmt yuv422p -g 12 -bf 2 -b:v 30M \
        -flags +ilme+ildct -top 1 -c:a pcm_s24le -ac 2 $exact -f mov "$tmp" ;;
dnxhr.mov)
    ff $(video 256x144 25 1) -c:v dnxhd -profile:v dnxhr_lb -pix_fmt yuv422p $exact -f mov "$tmp" ;;
dnxhd.mov)
    ff $(video 1920x1080 25 0.2) -c:v dnxhd -b:v 36M -pix_fmt yuv422p $exact -f mov "$tmp" ;;
v210.mov)
    ff $(video 64x48 25 1) -c:v v210 $exact -f mov "$tmp" ;;
hevc.mov)
    ff $(video 320x240 25 2) -c:v libx265 -x265-params log-level=none:pools=1:frame-threads=1:bframes=3:keyint=10 \
        -pix_fmt yuv420p -tag:v hvc1 $exact -f mov "$tmp" ;;
aac_only.m4a)
    ff $(tone 44100 3) -c:a aac -b:a 64k -ac 2 $exact -f ipod "$tmp" ;;
h264_only.m4v)
    ff $(video 160x120 25 2) -c:v libx264 -threads 1 -preset veryfast -bf 0 -g 25 -pix_fmt yuv420p $exact \
        -f mp4 "$tmp" ;;
aac_after_video.mp4)
    # Sound that starts 0.3 s into the movie: an empty edit in front of an
    # edit that runs a little past the sound's own duration.
    ff $(video 160x120 25 1) -itsoffset 0.3 $(tone 44100 0.77) -map 0 -map 1 -c:v libx264 -threads 1 \
        -preset veryfast -bf 0 -pix_fmt yuv420p -c:a aac -b:a 64k -ac 2 $exact -f mp4 "$tmp" ;;
camera_proxy.lrv)
    ff $(video 160x120 30 2) $(tone 48000 2) -c:v libx264 -threads 1 -preset veryfast -bf 1 -g 30 \
        -pix_fmt yuv420p -c:a aac -b:a 64k -ac 2 $exact -f mp4 "$tmp" ;;
h264_jitter.mp4)
    # Phone timing: frame durations jitter around 1/29.97 s, B-frames reorder.
    ff $(video 160x120 30 1) -vf "settb=1/90000,setpts='N*3003+mod(N,3)-1'" -fps_mode passthrough \
        -enc_time_base 1/90000 -video_track_timescale 90000 -c:v libx264 -threads 1 -preset veryfast -bf 2 -g 12 \
        -pix_fmt yuv420p $exact -f mp4 "$tmp" ;;
h264_edit_after_key.mp4)
    # Cut by stream copy at 0.4 s: the edit starts inside the first GOP, after its key frame.
    ff $(video 160x120 25 3) -c:v libx264 -threads 1 -preset veryfast -bf 2 -g 25 -pix_fmt yuv420p $exact \
        -f mp4 "$tmp.whole"
    ff -ss 0.4 -i "$tmp.whole" -c copy $exact -f mp4 "$tmp"
    rm -f "$tmp.whole" ;;
mxf_colour_*.mxf)
    # A picture descriptor with the colour labels named mxf_colour_PRIMARIES+TRANSFER.mxf,
    # in ffmpeg's names; a JPEG 2000 codestream carries no colour of its own, so
    # ffprobe shows what the descriptor says.
    colour=${name#mxf_colour_}
    colour=${colour%.mxf}
    ff $(video 64x48 25 0.12) -c:v jpeg2000 -pix_fmt yuv422p -color_primaries "${colour%%+*}" \
        -color_trc "${colour#*+}" $exact -f mxf "$tmp" ;;
rewrap_mpeg2_gop_pcm24_tc.mov)
    # The editor's MXF sources: long GOP MPEG-2 with 24-bit sound and a timecode.
    ff $(video 720x576 25 2) $(tone 48000 2) -c:v mpeg2video -g 12 -bf 2 -b:v 8M -pix_fmt yuv422p \
        -c:a pcm_s24le -ac 2 -timecode 10:00:00:00 $exact -f mov "$tmp" ;;
rewrap_mpeg2_intra_pcm24_tc.mov)
    ff $(video 720x576 25 1) $(tone 48000 1) -c:v mpeg2video -g 1 -b:v 8M -pix_fmt yuv422p -c:a pcm_s24le -ac 2 \
        -timecode 10:00:00:00 $exact -f mov "$tmp" ;;
rewrap_xdcam_hd422.mov)
    # XDCAM HD 422 as QuickTime names it: 1080i 4:2:2 long GOP.
    ff $(video 1920x1080 25 1.2) $(tone 48000 1.2) -c:v mpeg2video -pix_fmt yuv422p -flags +ilme+ildct+cgop -top 1 \
        -g 12 -bf 2 -b:v 30M -tag:v xd5c -c:a pcm_s24le -ac 2 -timecode 10:00:00:00 $exact -f mov "$tmp" ;;
rewrap_imx50_pcm16.mov)
    # IMX 50 as QuickTime names it: 608 lines of 4:2:2 intra MPEG-2 at a constant rate.
    ff $(video 720x608 25 1) $(tone 48000 1) -c:v mpeg2video -pix_fmt yuv422p -g 1 -b:v 50M -minrate 50M \
        -maxrate 50M -bufsize 2000000 -rc_init_occupancy 2000000 -tag:v mx5p -c:a pcm_s16le -ac 2 $exact \
        -f mov "$tmp" ;;
rewrap_dv25.mov)
    # QuickTime names PAL DV "dvcp".
    ff $(video 720x576 25 1) $(tone 48000 1) -c:v dvvideo -pix_fmt yuv420p -c:a pcm_s16le -ac 2 $exact -f mov "$tmp" ;;
rewrap_dv50.avi | rewrap_dv50.mov)
    # DVCPRO 50: ffmpeg names it "dvsd" in AVI, "dv5p" in a movie.
    ff $(video 720x576 25 1) $(tone 48000 1) -c:v dvvideo -pix_fmt yuv422p -c:a pcm_s16le -ac 2 $exact \
        -f "${name##*.}" "$tmp" ;;
rewrap_dnxhd_pcm24_tc.mov)
    ff $(video 1920x1080 25 0.4) $(tone 48000 0.4) -c:v dnxhd -b:v 36M -pix_fmt yuv422p -c:a pcm_s24le -ac 2 \
        -timecode 10:00:00:00 $exact -f mov "$tmp" ;;
rewrap_dnxhr_lb.mov)
    ff $(video 1920x1080 25 0.4) -c:v dnxhd -profile:v dnxhr_lb -pix_fmt yuv422p $exact -f mov "$tmp" ;;
rewrap_avci100_pcm24.mov)
    ff $(video 1920x1080 25 0.4) $(tone 48000 0.4) -c:v libx264 -avcintra-class 100 -pix_fmt yuv422p10le -threads 1 \
        -c:a pcm_s24le -ac 2 -timecode 10:00:00:00 $exact -f mov "$tmp" ;;
rewrap_pcm24_two_streams.mov)
    # Sound alone, two stereo streams of different tones.
    ff $(tone 48000 1) -f lavfi -i sine=frequency=500:sample_rate=48000:duration=1 -map 0 -map 1 -c:a pcm_s24le \
        -ac 2 $exact -f mov "$tmp" ;;
mjpeg_reel_tc.mov)
    # A tape's name beside the timecode, as cameras and ingest tools write it.
    ff $(video 320x240 25 1) -c:v mjpeg -q:v 5 -timecode 10:00:00:00 -metadata:s:v:0 reel_name=REEL01 $exact \
        -f mov "$tmp" ;;
front_sd_anamorphic.mov)
    # 4:3 PAL SD in non-square pixels: the movie says 16:15 in its pasp.
    ff $(video 720x576 25 1) -c:v mpeg2video -g 12 -b:v 4M -pix_fmt yuv422p -aspect 4:3 $exact -f mov "$tmp" ;;
front_interlaced_tff.mov | front_interlaced_bff.mov)
    # Interlaced pictures whose movie names the field order in a fiel atom.
    case "$name" in *tff*) order=tff field=tt ;; *) order=bff field=bb ;; esac
    ff $(video 720x576 25 1) -vf "setfield=$order" -c:v prores_ks -profile:v 2 -flags +ilme+ildct \
        -field_order "$field" $exact -f mov "$tmp" ;;
front_bt709.mov)
    # HD with its colour named in a colr atom, and in the pictures too.
    ff $(video 1280x720 25 0.4) -c:v libx264 -threads 1 -preset veryfast -pix_fmt yuv420p -color_primaries bt709 \
        -color_trc bt709 -colorspace bt709 -movflags +write_colr $exact -f mov "$tmp" ;;
front_capture_fps.mp4)
    # A telephone's slow-motion clip: 30 frames a second played, 120 captured.
    # Telephones keep the keyed metadata in moov/meta, a plain atom; ffmpeg
    # writes it in moov/udta/meta with a version and flags. The udta header
    # becomes an empty free atom, and meta loses its version and flags (moov
    # comes last, so no chunk offset moves).
    ff $(video 320x240 30 2) -c:v libx264 -threads 1 -preset veryfast -g 30 -pix_fmt yuv420p \
        -metadata com.android.capture.fps=120.000000 -movflags use_metadata_tags -f mp4 "$tmp"
    python3 - "$tmp" <<'PY'
import struct, sys
data = bytearray(open(sys.argv[1], "rb").read())
moov = data.find(b"moov") - 4
at = data.find(b"udta") - 4
assert moov > 0 and at > moov and data[at + 12:at + 16] == b"meta", "udta holds meta first"
size = lambda where: struct.unpack(">I", data[where:where + 4])[0]
assert moov + size(moov) == len(data), "moov comes last"
meta = at + 8
data[meta:meta + 4] = struct.pack(">I", size(meta) - 4)
del data[meta + 8:meta + 12]
data[at:at + 8] = struct.pack(">I", 8) + b"free"
data[moov:moov + 4] = struct.pack(">I", size(moov) - 4)
open(sys.argv[1], "wb").write(data)
PY
    ;;
front_mono_aac.mp4)
    ff $(video 320x240 25 2) $(tone 44100 2) -c:v libx264 -threads 1 -preset veryfast -g 25 -pix_fmt yuv420p \
        -c:a aac -ac 1 -b:a 64k $exact -f mp4 "$tmp" ;;
front_vfr.mp4)
    # Frames held for 40 and 80 ms by turns: a variable frame rate.
    ff $(video 320x240 25 2) -vf "setpts='N*0.06/TB+if(mod(N,2),0.02/TB,0)'" -fps_mode vfr -c:v libx264 -threads 1 \
        -preset veryfast -g 25 -pix_fmt yuv420p -video_track_timescale 1000 $exact -f mp4 "$tmp" ;;
*)
    echo "make_media.sh: no recipe for $name" >&2
    exit 2 ;;
esac
mv "$tmp" "$out/$name"
trap - EXIT
