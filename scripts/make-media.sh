#!/usr/bin/env bash
# Regenerates every committed string table, picture, animation and video from the sources
# in this script and in src/resources/source/. All of it is our own work.
#
#   scripts/make-media.sh            everything
#   scripts/make-media.sh strings    only the string tables (also: buttons, banners, samples, tests)
#
# Needs: imagemagick, ffmpeg, librsvg2-bin, fonts-dejavu-core (Debian packages).
set -euo pipefail
cd "$(dirname "$0")/.."

IM=/usr/bin/convert            # the real ImageMagick, not a wrapper earlier on PATH
BOLD=/usr/share/fonts/truetype/dejavu/DejaVuSans-Bold.ttf
for tool in "$IM" rsvg-convert ffmpeg iconv awk; do
    command -v "$tool" > /dev/null || { echo "make-media: $tool is missing" >&2; exit 1; }
done
[[ -f $BOLD ]] || { echo "make-media: DejaVu fonts are missing (fonts-dejavu-core)" >&2; exit 1; }

calc() { awk "BEGIN { printf \"%.2f\", ($1) }"; }   # calc EXPR: arithmetic with fractions

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
export SOURCE_DATE_EPOCH=1793491200   # keeps timestamps out of the generated files

# ---------------------------------------------------------------------------------------
# String tables: UTF-16 little-endian with a byte-order mark, LF line endings, one
# "Key" = "Value"; line per key. Values hold no double quote.

strings_file() {   # LANG FIRST SECOND REMOVE
    local lang=$1 first=$2 second=$3 remove=$4 value
    for value in "$first" "$second" "$remove"; do
        [[ $value != *'"'* ]] || { echo "make-media: a $lang value holds a double quote" >&2; exit 1; }
    done
    mkdir -p "src/resources/$lang.lproj"
    {
        printf '\xff\xfe'
        printf '/* Splash screen texts (%s) */\n"ApplicationWillBeLaunchedTextFirst" = "%s";\n"ApplicationWillBeLaunchedTextSecond" = "%s";\n"RemoveAdsText" = "%s";\n' \
            "$lang" "$first" "$second" "$remove" | iconv -f UTF-8 -t UTF-16LE
    } > "src/resources/$lang.lproj/Localizable.strings"
}

make_strings() {
    strings_file en      "The application will start" "after a short advertisement" "Remove ads"
    strings_file ru      "Приложение запустится"      "после короткой рекламы"      "Убрать рекламу"
    strings_file de      "Die App startet"            "nach einer kurzen Werbung"   "Werbung entfernen"
    strings_file es      "La aplicación se abrirá"    "después de un breve anuncio" "Quitar anuncios"
    strings_file fr      "L’application va démarrer" "après une courte publicité"  "Supprimer les pubs"
    strings_file it      "L’app si avvierà"           "dopo una breve pubblicità"   "Rimuovi pubblicità"
    strings_file ko      "짧은 광고가 끝나면"          "앱이 시작됩니다"             "광고 제거"
    strings_file pt-PT   "A aplicação vai iniciar"    "após um breve anúncio"       "Remover anúncios"
    strings_file ja      "短い広告のあとで"            "アプリが起動します"          "広告を削除"
    strings_file zh-Hans "观看简短广告后"              "应用即将启动"                "移除广告"
}

# ---------------------------------------------------------------------------------------
# Buttons: src/resources/source/<name>.svg rendered at 1x (32 px) and 2x (64 px).

make_buttons() {
    local name
    for name in ads_close_button ads_sound_on ads_sound_off; do
        rsvg-convert -w 32 -h 32 "src/resources/source/$name.svg" -o "src/resources/$name.png"
        rsvg-convert -w 64 -h 64 "src/resources/source/$name.svg" -o "src/resources/$name@2x.png"
    done
    # Strip ancillary chunks (time, text) so that a rebuild gives the same bytes.
    for name in src/resources/ads_*.png; do
        $IM "$name" -strip -define png:exclude-chunks=date,time "PNG32:$name"
    done
}

# ---------------------------------------------------------------------------------------
# App icons: white glyphs in a 62×62 box; "currentColor" is the tile's accent colour.

declare -A GLYPH
GLYPH[notes]='<rect x="17" y="12" width="26" height="36" rx="4" fill="none" stroke="#fff" stroke-width="3"/>
<path d="M23 22 H37 M23 29 H37 M23 36 H31" stroke="#fff" stroke-width="2.6" stroke-linecap="round"/>
<path d="M36 50 L49 30 L53 33 L40 53 L35 54 Z" fill="#fff"/>'
GLYPH[photo]='<path d="M13 24 a4 4 0 0 1 4 -4 H23 L26 15 H36 L39 20 H45 a4 4 0 0 1 4 4 V44 a4 4 0 0 1 -4 4 H17 a4 4 0 0 1 -4 -4 Z" fill="#fff"/>
<circle cx="31" cy="33" r="9.5" fill="currentColor"/><circle cx="31" cy="33" r="6" fill="#fff"/><circle cx="43" cy="26" r="1.8" fill="currentColor"/>'
GLYPH[weather]='<circle cx="25" cy="24" r="8" fill="#fff"/>
<path d="M25 9 V12 M25 36 V39 M10 24 H13 M37 24 H40 M14.4 13.4 L16.5 15.5 M33.5 32.5 L35.6 34.6 M14.4 34.6 L16.5 32.5 M33.5 15.5 L35.6 13.4" stroke="#fff" stroke-width="2.6" stroke-linecap="round"/>
<path d="M20 50 H45 a8 8 0 0 0 0 -16 a11 11 0 0 0 -21 2 a7 7 0 0 0 -4 14 Z" fill="#fff" stroke="currentColor" stroke-width="2.5"/>'
GLYPH[tangram]='<g stroke="currentColor" stroke-width="2.2" stroke-linejoin="round" fill="#fff">
<path d="M12 12 H50 L31 31 Z"/><path d="M12 12 V50 L31 31 Z" fill-opacity="0.82"/>
<path d="M50 31 V50 H31 Z" fill-opacity="0.9"/><path d="M50 12 V31 L40.5 21.5 Z" fill-opacity="0.7"/>
<path d="M31 31 L40.5 21.5 L50 31 L40.5 40.5 Z"/><path d="M31 31 L40.5 40.5 H21.5 Z" fill-opacity="0.7"/>
<path d="M12 50 L21.5 40.5 H40.5 L31 50 Z" fill-opacity="0.85"/></g>'
GLYPH[mail]='<rect x="11" y="17" width="40" height="28" rx="4" fill="#fff"/>
<path d="M13 20 L31 34 L49 20" fill="none" stroke="currentColor" stroke-width="3" stroke-linejoin="round" stroke-linecap="round"/>'
GLYPH[pixel]='<g fill="#fff"><rect x="13" y="13" width="10" height="10" rx="1.5"/><rect x="26" y="13" width="10" height="10" rx="1.5" fill-opacity="0.55"/><rect x="39" y="13" width="10" height="10" rx="1.5"/>
<rect x="13" y="26" width="10" height="10" rx="1.5" fill-opacity="0.55"/><rect x="26" y="26" width="10" height="10" rx="1.5"/><rect x="39" y="26" width="10" height="10" rx="1.5" fill-opacity="0.55"/>
<rect x="13" y="39" width="10" height="10" rx="1.5"/><rect x="26" y="39" width="10" height="10" rx="1.5" fill-opacity="0.55"/><rect x="39" y="39" width="10" height="10" rx="1.5"/></g>'
GLYPH[metronome]='<path d="M25 11 H37 L47 51 H15 Z" fill="#fff" stroke="#fff" stroke-width="3" stroke-linejoin="round"/>
<path d="M31 44 L41 17" stroke="currentColor" stroke-width="3" stroke-linecap="round"/><circle cx="38.2" cy="24.5" r="3.6" fill="currentColor"/>
<rect x="15" y="45" width="32" height="6" fill="currentColor" fill-opacity="0.3"/>'
GLYPH[orbit]='<circle cx="31" cy="31" r="9" fill="#fff"/>
<ellipse cx="31" cy="31" rx="21" ry="9" fill="none" stroke="#fff" stroke-width="2.6" transform="rotate(-25 31 31)"/>
<circle cx="49" cy="22.5" r="3.6" fill="#fff"/>'
GLYPH[music]='<path d="M24 44 V17 L46 12 V38" fill="none" stroke="#fff" stroke-width="3.4" stroke-linejoin="round"/>
<ellipse cx="19.5" cy="44.5" rx="6.5" ry="5" fill="#fff"/><ellipse cx="41.5" cy="38.5" rx="6.5" ry="5" fill="#fff"/>'
GLYPH[test]='<rect x="14" y="14" width="34" height="34" rx="6" fill="none" stroke="#fff" stroke-width="3"/>
<path d="M22 31 L28.5 37.5 L41 24" fill="none" stroke="#fff" stroke-width="3.4" stroke-linecap="round" stroke-linejoin="round"/>'

icon_svg() {   # GLYPH ACCENT: a 62×62 app icon tile (SVG fragment at the origin)
    cat <<SVG
<g color="$2">
  <rect y="2" width="62" height="62" rx="15" fill="#000" fill-opacity="0.22"/>
  <rect width="62" height="62" rx="15" fill="$2"/>
  <rect width="62" height="62" rx="15" fill="url(#tile)"/>
  ${GLYPH[$1]}
</g>
SVG
}

DEFS_TILE='<linearGradient id="tile" x1="0" y1="0" x2="0" y2="1"><stop offset="0" stop-color="#fff" stop-opacity="0.28"/><stop offset="1" stop-color="#fff" stop-opacity="0"/></linearGradient>'

# ---------------------------------------------------------------------------------------
# Banners: 728×90 animated GIFs, one frame per tagline (~1.1 s each), looping forever.
# The decoration drifts a little from frame to frame; dots show which frame is on.

banner_svg() {   # C1 C2 ACCENT GLYPH NAME TAGLINE FRAME FRAMES
    local c1=$1 c2=$2 accent=$3 glyph=$4 name=$5 tagline=$6 i=$7 n=$8 dots="" k op
    for ((k = 0; k < n; k++)); do
        op=0.4; [[ $k == "$i" ]] && op=1
        dots+="<circle cx=\"$((621 - (n - 1) * 6 + k * 12))\" cy=\"79\" r=\"3\" fill=\"#fff\" fill-opacity=\"$op\"/>"
    done
    local drift=$((i * 18))
    cat <<SVG
<svg xmlns="http://www.w3.org/2000/svg" width="728" height="90" viewBox="0 0 728 90">
  <defs>
    <linearGradient id="bg" x1="0" y1="0" x2="1" y2="1"><stop offset="0" stop-color="$c1"/><stop offset="1" stop-color="$c2"/></linearGradient>
    <linearGradient id="gloss" x1="0" y1="0" x2="0" y2="1"><stop offset="0" stop-color="#fff" stop-opacity="0.16"/><stop offset="1" stop-color="#fff" stop-opacity="0"/></linearGradient>
    $DEFS_TILE
  </defs>
  <rect width="728" height="90" fill="url(#bg)"/>
  <circle cx="$((430 + drift))" cy="100" r="70" fill="#fff" fill-opacity="0.06"/>
  <circle cx="$((505 - drift))" cy="-10" r="48" fill="#fff" fill-opacity="0.05"/>
  <circle cx="$((360 + drift / 2))" cy="20" r="14" fill="#fff" fill-opacity="0.07"/>
  <rect width="728" height="45" fill="url(#gloss)"/>
  <g transform="translate(16,13)">$(icon_svg "$glyph" "$accent")</g>
  <text x="94" y="41" font-family="DejaVu Sans" font-weight="bold" font-size="26" fill="#fff">$name</text>
  <text x="95" y="67" font-family="DejaVu Sans" font-size="16" fill="#fff" fill-opacity="0.9">$tagline</text>
  <rect x="534" y="19" width="174" height="42" rx="21" fill="#000" fill-opacity="0.18"/>
  <rect x="532" y="16" width="178" height="42" rx="21" fill="#fff"/>
  <text x="621" y="42" text-anchor="middle" font-family="DejaVu Sans" font-weight="bold" font-size="15" fill="$c2">Get it on the store</text>
  $dots
</svg>
SVG
}

banner() {   # OUT C1 C2 ACCENT GLYPH NAME TAGLINE...
    local out=$1 c1=$2 c2=$3 accent=$4 glyph=$5 name=$6
    shift 6
    local n=$# i=0 frames=() tagline
    for tagline in "$@"; do
        banner_svg "$c1" "$c2" "$accent" "$glyph" "$name" "$tagline" $i $n > "$tmp/frame-$i.svg"
        rsvg-convert "$tmp/frame-$i.svg" -o "$tmp/frame-$i.png"
        frames+=("$tmp/frame-$i.png")
        i=$((i + 1))
    done
    mkdir -p "$(dirname "$out")"
    $IM -delay 110 -loop 0 "${frames[@]}" -dither FloydSteinberg -colors 160 -layers Optimize "$out"
    rm -f "$tmp"/frame-*
}

make_banners() {
    # House banners: our own apps, shown when no banner could be downloaded.
    # Identifiers and store ids: src/resources/banners/README.md.
    banner src/resources/banners/house_banner_1.gif '#6a4bd6' '#2b1a78' '#ffb020' notes "Inkwell Notes" \
        "Notes that organise themselves" "Sync across every Mac you own" "Markdown, sketches and tags"
    banner src/resources/banners/house_banner_2.gif '#ff7a45' '#c2185b' '#2d2d6b' photo "Lumen Photo" \
        "Edit a photo in three clicks" "One-tap light and colour fixes" "Batch export for the web"
    banner src/resources/banners/house_banner_3.gif '#2b97f0' '#0d3c78' '#ffb300' weather "Skyline Weather" \
        "Forecasts you can trust" "Radar right in your menu bar" "Rain alerts a minute ahead"
    banner src/resources/banners/house_banner_4.gif '#1abc9c' '#0b5345' '#ff7043' tangram "Tangram Quest" \
        "300 hand-made puzzles" "Relax, rotate and fit" "A new challenge every day"
}

# ---------------------------------------------------------------------------------------
# Videos: H.264 (constrained baseline, yuv420p, 25 fps) with a quiet AAC chord. A still
# gradient background, three soft discs drifting on slow orbits, the app's title card
# easing in, and a call to action for the last seconds. Sprites are drawn as SVG at the
# video's scale, so the same code makes the 640×360 ads and the 320×180 test clips.

card_svg() {   # W H C1 C2 ACCENT GLYPH NAME TAGLINE PART (background|title|cta|still)
    local w=$1 h=$2 c1=$3 c2=$4 accent=$5 glyph=$6 name=$7 tagline=$8 part=$9
    echo "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"$w\" height=\"$h\" viewBox=\"0 0 640 360\"><defs>"
    echo "<linearGradient id=\"bg\" x1=\"0\" y1=\"0\" x2=\"1\" y2=\"1\"><stop offset=\"0\" stop-color=\"$c1\"/><stop offset=\"1\" stop-color=\"$c2\"/></linearGradient>"
    echo "<radialGradient id=\"glow\" cx=\"0.5\" cy=\"0.45\" r=\"0.6\"><stop offset=\"0\" stop-color=\"#fff\" stop-opacity=\"0.16\"/><stop offset=\"1\" stop-color=\"#fff\" stop-opacity=\"0\"/></radialGradient>"
    echo "$DEFS_TILE</defs>"
    if [[ $part == background || $part == still ]]; then
        echo '<rect width="640" height="360" fill="url(#bg)"/><rect width="640" height="360" fill="url(#glow)"/>'
    fi
    if [[ $part == still ]]; then
        echo '<circle cx="560" cy="70" r="120" fill="#fff" fill-opacity="0.06"/><circle cx="80" cy="320" r="90" fill="#fff" fill-opacity="0.05"/>'
    fi
    if [[ $part == title || $part == still ]]; then
        echo "<g transform=\"translate(289,70)\">$(icon_svg "$glyph" "$accent")</g>"
        echo "<text x=\"320\" y=\"192\" text-anchor=\"middle\" font-family=\"DejaVu Sans\" font-weight=\"bold\" font-size=\"40\" fill=\"#fff\">$name</text>"
        echo "<text x=\"320\" y=\"226\" text-anchor=\"middle\" font-family=\"DejaVu Sans\" font-size=\"20\" fill=\"#fff\" fill-opacity=\"0.9\">$tagline</text>"
    fi
    if [[ $part == cta || $part == still ]]; then
        echo '<rect x="222" y="258" width="196" height="46" rx="23" fill="#000" fill-opacity="0.2"/>'
        echo '<rect x="220" y="254" width="200" height="46" rx="23" fill="#fff"/>'
        echo "<text x=\"320\" y=\"283\" text-anchor=\"middle\" font-family=\"DejaVu Sans\" font-weight=\"bold\" font-size=\"17\" fill=\"$c2\">Get it on the store</text>"
    fi
    echo '</svg>'
}

disc_svg() {   # SIZE OPACITY: a soft white disc
    echo "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"$1\" height=\"$1\" viewBox=\"0 0 100 100\"><defs><radialGradient id=\"d\"><stop offset=\"0\" stop-color=\"#fff\" stop-opacity=\"$2\"/><stop offset=\"0.7\" stop-color=\"#fff\" stop-opacity=\"$(calc "$2 * 0.6")\"/><stop offset=\"1\" stop-color=\"#fff\" stop-opacity=\"0\"/></radialGradient></defs><circle cx=\"50\" cy=\"50\" r=\"50\" fill=\"url(#d)\"/></svg>"
}

video() {   # OUT WxH SECONDS CRF C1 C2 ACCENT GLYPH NAME TAGLINE
    local out=$1 size=$2 seconds=$3 crf=$4 c1=$5 c2=$6 accent=$7 glyph=$8 name=$9 tagline=${10}
    local w=${size%x*} h=${size#*x} part
    for part in background title cta; do
        card_svg "$w" "$h" "$c1" "$c2" "$accent" "$glyph" "$name" "$tagline" $part > "$tmp/$part.svg"
        rsvg-convert "$tmp/$part.svg" -o "$tmp/$part.png"
    done
    disc_svg $((w * 3 / 8)) 0.22 > "$tmp/disc1.svg"
    disc_svg $((w / 5)) 0.28 > "$tmp/disc2.svg"
    disc_svg $((w / 9)) 0.35 > "$tmp/disc3.svg"
    for part in disc1 disc2 disc3; do rsvg-convert "$tmp/$part.svg" -o "$tmp/$part.png"; done
    local cta_at
    cta_at=$(calc "$seconds > 3 ? $seconds - 3 : $seconds * 0.5")
    # The title rises 24 px (at 640 wide) into place over the first 0.8 s while it fades in.
    local rise="24*$w/640"
    mkdir -p "$(dirname "$out")"
    ffmpeg -loglevel error -y \
        -loop 1 -framerate 25 -t "$seconds" -i "$tmp/background.png" \
        -loop 1 -framerate 25 -t "$seconds" -i "$tmp/disc1.png" \
        -loop 1 -framerate 25 -t "$seconds" -i "$tmp/disc2.png" \
        -loop 1 -framerate 25 -t "$seconds" -i "$tmp/disc3.png" \
        -loop 1 -framerate 25 -t "$seconds" -i "$tmp/title.png" \
        -loop 1 -framerate 25 -t "$seconds" -i "$tmp/cta.png" \
        -f lavfi -i "aevalsrc=0.030*sin(2*PI*220*t)+0.020*sin(2*PI*277.18*t)+0.016*sin(2*PI*329.63*t):s=44100:d=$seconds" \
        -filter_complex "
            [0:v]format=yuv420p[bg];
            [bg][1:v]overlay=x='W*0.30-w/2+W*0.22*cos(t*0.9)':y='H*0.45-h/2+H*0.22*sin(t*0.9)'[a];
            [a][2:v]overlay=x='W*0.72-w/2+W*0.16*cos(1.8-t*1.3)':y='H*0.55-h/2+H*0.28*sin(1.8-t*1.3)'[b];
            [b][3:v]overlay=x='W*0.5-w/2+W*0.40*sin(t*0.7)':y='H*0.2-h/2+H*0.12*cos(t*1.4)'[c];
            [4:v]format=rgba,fade=in:st=0.2:d=0.8:alpha=1[title];
            [c][title]overlay=x=0:y='$rise*max(0,1-t/1.0)'[d];
            [5:v]format=rgba,fade=in:st=$cta_at:d=0.6:alpha=1[cta];
            [d][cta]overlay=0:0,format=yuv420p[v];
            [6:a]afade=in:d=0.5,afade=out:st=$(calc "$seconds - 0.6"):d=0.6[au]" \
        -map '[v]' -map '[au]' -t "$seconds" \
        -c:v libx264 -profile:v baseline -level 3.0 -pix_fmt yuv420p -preset veryslow -crf "$crf" -g 50 \
        -c:a aac -b:a 48k -ac 1 -map_metadata -1 -fflags +bitexact -movflags +faststart "$out"
    rm -f "$tmp"/*.svg "$tmp"/*.png
}

still() {   # OUT C1 C2 ACCENT GLYPH NAME TAGLINE: a 640×360 JPEG end card
    card_svg 640 360 "$2" "$3" "$4" "$5" "$6" "$7" still > "$tmp/still.svg"
    rsvg-convert "$tmp/still.svg" -o "$tmp/still.png"
    $IM "$tmp/still.png" -strip -sampling-factor 4:2:0 -quality 86 "$1"
    rm -f "$tmp"/still.*
}

make_samples() {
    # Sample ads served by the development ad server (examples/sample-ads/manifest.json).
    local d=examples/sample-ads/media
    banner $d/banner-harbor.gif '#16b3a3' '#00564a' '#ffb300' mail "Harbor Mail" \
        "Your inbox, finally calm" "Snooze, pin and send later" "Private by design"
    banner $d/banner-pixelforge.gif '#a13bd1' '#311b92' '#00bcd4' pixel "PixelForge" \
        "Pixel art made delightful" "Layers, palettes, animation" "Export sprites in one click"
    banner $d/banner-metronome.gif '#f0524f' '#7f0a14' '#37474f' metronome "Tempo Trainer" \
        "Practise in perfect time" "Set lists and tap tempo" "Made for musicians"
    video $d/video-orbit.mp4 640x360 9 26 '#4a5bd6' '#141c64' '#ff9f1c' orbit "Orbit Planner" "Plan your week in orbit"
    still $d/video-orbit.jpg '#4a5bd6' '#141c64' '#ff9f1c' orbit "Orbit Planner" "Plan your week in orbit"
    video $d/video-cascade.mp4 640x360 8 26 '#17a398' '#063d3a' '#ef476f' music "Cascade Music" "Every song, beautifully played"
    still $d/video-cascade.jpg '#17a398' '#063d3a' '#ef476f' music "Cascade Music" "Every song, beautifully played"
}

make_tests() {
    # Media fixtures for the tests.
    local d=tests/data/media
    video $d/test-video.mp4 320x180 3 34 '#5c6b7a' '#1f2a33' '#2e9bff' test "Velmora Test" "three-second clip"
    video $d/test-video-short.mp4 320x180 1 34 '#5c6b7a' '#1f2a33' '#2e9bff' test "Velmora Test" "one-second clip"
    # A clip that ends within a few turns of a session's steps: the short one cut to 0.4 s.
    ffmpeg -hide_banner -loglevel error -y -i $d/test-video-short.mp4 -t 0.4 \
        -c:v libx264 -profile:v baseline -level 3.0 -pix_fmt yuv420p -crf 34 -c:a aac -b:a 48k -ac 1 \
        -map_metadata -1 -fflags +bitexact -movflags +faststart $d/test-video-blink.mp4
    still $d/still.jpg '#5c6b7a' '#1f2a33' '#2e9bff' test "Still Image" "interstitial test picture"
    banner $d/banner.gif '#5c6b7a' '#1f2a33' '#2e9bff' test "Test Banner" "frame one" "frame two" "frame three"
    # What a misconfigured server hands out in place of media: an HTML error page.
    printf '<!DOCTYPE html>\n<html><head><title>502 Bad Gateway</title></head><body><h1>502 Bad Gateway</h1></body></html>\n' \
        | tee $d/not-a-video.mp4 > $d/not-a-gif.gif
}

what=${1:-all}
case $what in
    all) make_strings; make_buttons; make_banners; make_samples; make_tests ;;
    strings | buttons | banners | samples | tests) "make_$what" ;;
    *) echo "usage: $0 [all|strings|buttons|banners|samples|tests]" >&2; exit 2 ;;
esac
echo "make-media: $what regenerated"
