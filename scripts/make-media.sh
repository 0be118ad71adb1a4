#!/usr/bin/env bash
# Regenerates every committed picture, animation and video from the sources in this
# script and src/resources/source/. Needs imagemagick, ffmpeg and librsvg2-bin.
set -euo pipefail
cd "$(dirname "$0")/.."
IM=/usr/bin/convert            # the real ImageMagick, not a wrapper earlier on PATH
FONT=/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf
BOLD=/usr/share/fonts/truetype/dejavu/DejaVuSans-Bold.ttf
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

# banner OUT COLOR1 COLOR2 ACCENT NAME TAGLINE... : an animated 728x90 GIF, one frame per tagline.
banner() {
    local out=$1 c1=$2 c2=$3 accent=$4 name=$5
    shift 5
    local frames=() i=0
    for tagline in "$@"; do
        local f="$tmp/frame-$i.png"
        $IM -size 90x728 "gradient:$c1-$c2" -rotate -90 \
            \( -size 58x58 xc:none -fill "$accent" -draw "roundrectangle 0,0 57,57 14,14" \
               -fill white -font "$BOLD" -pointsize 34 -gravity center -annotate +0+1 "${name:0:1}" \) \
            -gravity west -geometry +16+0 -composite \
            -font "$BOLD" -pointsize 27 -fill white -gravity northwest -annotate +90+14 "$name" \
            -font "$FONT" -pointsize 17 -fill 'rgba(255,255,255,0.88)' -annotate +91+52 "$tagline" \
            \( -size 178x40 xc:none -fill white -draw "roundrectangle 0,0 177,39 20,20" \
               -font "$BOLD" -pointsize 15 -fill "$c2" -gravity center -annotate +0+0 "Get it on the store" \) \
            -gravity east -geometry +18+0 -composite \
            -fill "rgba(255,255,255,0.9)" -draw "circle $((600 - 12 * (${#@} - i))),80 $((603 - 12 * (${#@} - i))),80" \
            "$f"
        frames+=("$f")
        i=$((i + 1))
    done
    $IM -delay 110 -loop 0 "${frames[@]}" -layers Optimize -colors 128 "$out"
    rm -f "$tmp"/frame-*.png
}

# House banners: our own apps, shown when no ad could be downloaded.
mkdir -p src/resources/banners
banner src/resources/banners/house_banner_1.gif '#5b3cc4' '#2b1a78' '#ffb020' "Inkwell Notes" \
    "Notes that organise themselves" "Sync across every Mac you own" "Markdown, sketches and tags"
banner src/resources/banners/house_banner_2.gif '#ff6a3d' '#c2185b' '#2d2d6b' "Lumen Photo" \
    "Edit a photo in three clicks" "One-tap light and colour fixes" "Batch export for the web"
banner src/resources/banners/house_banner_3.gif '#1e88e5' '#0d3c78' '#ffd54f' "Skyline Weather" \
    "Forecasts you can trust" "Radar right in your menu bar" "Rain alerts a minute ahead"
banner src/resources/banners/house_banner_4.gif '#16a085' '#0b5345' '#ff7043' "Tangram Quest" \
    "300 hand-made puzzles" "Relax, rotate and fit" "A new challenge every day"

# Sample ads served by the development ad server.
mkdir -p examples/sample-ads/media
banner examples/sample-ads/media/banner-harbor.gif '#00897b' '#004d40' '#ffca28' "Harbor Mail" \
    "Your inbox, finally calm" "Snooze, pin and send later" "Private by design"
banner examples/sample-ads/media/banner-pixelforge.gif '#8e24aa' '#311b92' '#00e5ff' "PixelForge" \
    "Pixel art made delightful" "Layers, palettes, animation" "Export sprites in one click"
banner examples/sample-ads/media/banner-metronome.gif '#e53935' '#7f0000' '#212121' "Tempo Trainer" \
    "Practise in perfect time" "Set lists and tap tempo" "Made for musicians"

# video OUT SECONDS SIZE COLOR NAME: an H.264 clip with moving shapes, the name and a quiet tone.
video() {
    local out=$1 seconds=$2 size=$3 color=$4 name=$5
    ffmpeg -loglevel error -y \
        -f lavfi -i "color=c=$color:s=$size:d=$seconds:r=25" \
        -f lavfi -i "sine=frequency=440:sample_rate=44100:duration=$seconds" \
        -filter_complex "[0:v]drawbox=x='mod(t*120,iw)':y=ih/3:w=ih/4:h=ih/4:color=white@0.85:t=fill,drawtext=fontfile=$BOLD:text='$name':fontcolor=white:fontsize=h/9:x=(w-text_w)/2:y=h*0.68,drawtext=fontfile=$FONT:text='%{eif\\:t+1\\:d}':fontcolor=white@0.8:fontsize=h/14:x=w*0.05:y=h*0.08[v];[1:a]volume=0.05[a]" \
        -map '[v]' -map '[a]' -c:v libx264 -profile:v baseline -pix_fmt yuv420p -preset veryslow -crf 32 \
        -c:a aac -b:a 32k -movflags +faststart "$out"
}

still() {
    local out=$1 size=$2 c1=$3 c2=$4 name=$5 tagline=$6
    $IM -size "$size" "gradient:$c1-$c2" -font "$BOLD" -pointsize 44 -fill white -gravity center \
        -annotate +0-20 "$name" -font "$FONT" -pointsize 22 -annotate +0+30 "$tagline" -quality 80 "$out"
}

video examples/sample-ads/media/video-orbit.mp4 9 640x360 '#1a237e' "Orbit Planner"
still examples/sample-ads/media/video-orbit.jpg 640x360 '#3949ab' '#1a237e' "Orbit Planner" "Plan your week in orbit"
video examples/sample-ads/media/video-cascade.mp4 8 640x360 '#004d40' "Cascade Music"
still examples/sample-ads/media/video-cascade.jpg 640x360 '#00897b' '#004d40' "Cascade Music" "Every song, beautifully played"

# Test media.
mkdir -p tests/data/media
video tests/data/media/test-video.mp4 3 320x180 '#263238' "Test"
video tests/data/media/test-video-short.mp4 1 320x180 '#263238' "Short"
still tests/data/media/still.jpg 640x360 '#546e7a' '#263238' "Still" "interstitial"
banner tests/data/media/banner.gif '#455a64' '#263238' '#ffab00' "Test Banner" "frame one" "frame two" "frame three"
printf '<!DOCTYPE html>\n<html><head><title>502 Bad Gateway</title></head><body><h1>502 Bad Gateway</h1></body></html>\n' \
    | tee tests/data/media/not-a-video.mp4 > tests/data/media/not-a-gif.gif

# Buttons: SVG sources rendered at 1x and 2x.
for name in ads_close_button ads_sound_on ads_sound_off; do
    rsvg-convert -w 32 -h 32 "src/resources/source/$name.svg" -o "src/resources/$name.png"
    rsvg-convert -w 64 -h 64 "src/resources/source/$name.svg" -o "src/resources/$name@2x.png"
done
echo "media regenerated"
