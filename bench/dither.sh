#!/bin/bash
# Dithered optimal palette against pngquant's default dithering: SSIM,
# PSNR and blurred PSNR (bench/quality.py) and whole-run times, per
# picture and number of colours, then averages and the worst gaps; then
# the high colour level 565 with and without dithering.
#
#   bash bench/dither.sh [build-dir]        (default: build)
#
# The pictures come from Debian packages; missing ones are skipped:
#   apt-get install -y opencv-doc gnome-backgrounds valgrind scrot \
#     adwaita-icon-theme pngquant imagemagick python3-pil python3-numpy \
#     python3-scipy python3-skimage
# Pictures with alpha are flattened onto white first, so that both tools
# see the same RGB picture. The wallpapers are scaled to one megapixel.
set -u
cd "$(dirname "$0")/.."
BUILD=$(realpath "${1:-build}")
ZELMAR=$BUILD/zelmar-console   # the command-line program: no window system to load
QUALITY="/usr/bin/python3 $(pwd)/bench/quality.py"
. bench/pictures.sh
COLORS=(16 64 256)

[ -x "$ZELMAR" ] || { echo "no $ZELMAR: build first" >&2; exit 1; }
HIGHCOLOR=$BUILD/bench_highcolor
if [ ! -x "$HIGHCOLOR" ] || [ bench/bench_highcolor.cpp -nt "$HIGHCOLOR" ] || [ "$BUILD/libzelmar_core.a" -nt "$HIGHCOLOR" ]; then
  g++ -O2 -std=c++17 -I. bench/bench_highcolor.cpp "$BUILD/libzelmar_core.a" -o "$HIGHCOLOR" || exit 1
fi
WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT
cd "$WORK"

flatten_pictures

# The conversions, timed; the measures come after, in one pass.
: > pairs.txt; : > rows.txt; : > hpairs.txt
for Name in "${NAMES[@]}"; do
  for N in "${COLORS[@]}"; do
    T0=$(now); "$ZELMAR" "$Name.png" -dither1 "-convertintooptimalpalette$N" -saveasz_${Name}_$N.bmp,2 -exit >/dev/null 2>&1; T1=$(now)
    pngquant --speed 1 -f -o p_${Name}_$N.png "$N" "$Name.png"; T2=$(now)
    echo "$Name.png z_${Name}_$N.bmp" >> pairs.txt
    echo "$Name.png p_${Name}_$N.png" >> pairs.txt
    echo "$Name $N $(ms "$T0" "$T1") $(ms "$T1" "$T2")" >> rows.txt
  done
  /usr/bin/python3 -c "import sys; from PIL import Image; Image.open(sys.argv[1]).convert('RGB').save(sys.argv[2])" "$Name.png" "$Name.ppm"
  "$HIGHCOLOR" "$Name.ppm" 565 0 h0_$Name.ppm && "$HIGHCOLOR" "$Name.ppm" 565 1 h1_$Name.ppm
  echo "$Name.png h0_$Name.ppm" >> hpairs.txt
  echo "$Name.png h1_$Name.ppm" >> hpairs.txt
done
$QUALITY < pairs.txt | paste -d' ' - - > measures.txt
$QUALITY < hpairs.txt | paste -d' ' - - > hmeasures.txt

echo "Dithered optimal palette (zelmar-console -dither1) against pngquant --speed 1 (default dithering)"
echo "SSIM over RGB; PSNR and blurred PSNR (Gaussian, sigma 1) in dB; whole-run times in ms"
echo
printf "%-12s %4s | %6s %6s | %6s %6s | %6s %6s | %6s %6s\n" picture N "SSIM z" "SSIM p" "PSNR z" "PSNR p" "blur z" "blur p" "ms z" "ms p"
# Exact results (inf) count as 99 dB.
paste -d' ' rows.txt measures.txt | awk '
  function v(x) { return x == "inf" ? 99 : x }
  {
    printf "%-12s %4s | %6.4f %6.4f | %6s %6s | %6s %6s | %6s %6s\n", $1, $2, $5, $8, $6, $9, $7, $10, $3, $4
    N = $2; C[N]++
    Sz[N] += $5; Sp[N] += $8; Pz[N] += v($6); Pp[N] += v($9); Bz[N] += v($7); Bp[N] += v($10)
    ds = $5 - $8; db = v($7) - v($10)
    if (!(N in Ws) || ds < Ws[N]) { Ws[N] = ds; WsName[N] = $1 }
    if (!(N in Wb) || db < Wb[N]) { Wb[N] = db; WbName[N] = $1 }
  }
  END {
    printf "\nAverages over %d pictures\n\n", C[16]
    printf "| N | SSIM zelmar | SSIM pngquant | PSNR zelmar | PSNR pngquant | blurred PSNR zelmar | blurred PSNR pngquant |\n"
    printf "|---|---|---|---|---|---|---|\n"
    for (i = 0; i < 3; i++) {
      N = i == 0 ? 16 : (i == 1 ? 64 : 256)
      printf "| %d | %.3f | %.3f | %.1f dB | %.1f dB | %.1f dB | %.1f dB |\n", N,
        Sz[N] / C[N], Sp[N] / C[N], Pz[N] / C[N], Pp[N] / C[N], Bz[N] / C[N], Bp[N] / C[N]
    }
    printf "\nZelmar - pngquant: mean, and worst single picture\n\n"
    for (i = 0; i < 3; i++) {
      N = i == 0 ? 16 : (i == 1 ? 64 : 256)
      printf "N = %3d: mean SSIM %+.5f, blurred PSNR %+.2f dB; worst SSIM %+.4f (%s), blurred PSNR %+.2f dB (%s)\n", N,
        (Sz[N] - Sp[N]) / C[N], (Bz[N] - Bp[N]) / C[N], Ws[N], WsName[N], Wb[N], WbName[N]
    }
  }'

echo
echo "High colour 565 without and with dithering"
echo
printf "%-12s | %8s %8s | %8s %8s\n" picture "SSIM off" "SSIM on" "blur off" "blur on"
paste -d' ' <(printf "%s\n" "${NAMES[@]}") hmeasures.txt | awk '
  { printf "%-12s | %8.4f %8.4f | %8s %8s\n", $1, $2, $5, $4, $7; S0 += $2; S1 += $5; n++ }
  END { printf "average SSIM: %.4f off, %.4f on\n", S0 / n, S1 / n }'
