#!/bin/bash
# Optimal palette against pngquant and ImageMagick: PSNR over RGB and
# whole-run times, per picture and number of colours, in one table.
#
#   bash bench/quant.sh [build-dir]        (default: build)
#
# The pictures come from Debian packages; missing ones are skipped:
#   apt-get install -y opencv-doc gnome-backgrounds valgrind scrot \
#                      adwaita-icon-theme pngquant imagemagick python3-pil python3-numpy
# Pictures with alpha are flattened onto white first, so that all three
# tools see the same RGB picture. Until zelmar reads PNG it is given a
# 24-bit BMP made by ImageMagick; the script tries the PNG first.
set -u
cd "$(dirname "$0")/.."
ZELMAR=$(realpath "${1:-build}")/zelmar
PSNR="/usr/bin/python3 $(pwd)/bench/psnr.py"
. bench/pictures.sh
COLORS=(256 64 16)

[ -x "$ZELMAR" ] || { echo "no $ZELMAR: build first" >&2; exit 1; }
WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT
cd "$WORK"

# The pictures: flattened RGB PNG (the reference) and a 24-bit BMP.
flatten_pictures
BMPS=()
for Name in "${NAMES[@]}"; do
  convert "$Name.png" -type TrueColor BMP3:"$Name.bmp" && BMPS+=("$Name")
done
NAMES=("${BMPS[@]}")

# zelmar's input: the PNG when it can open one, else the BMP.
INPUT=bmp
rm -f Zelmar.log
if "$ZELMAR" "${NAMES[0]}.png" -saveasprobe.bmp,2 -exit >/dev/null 2>&1 && [ -f probe.bmp ]; then
  INPUT=png
fi
echo "zelmar reads: .$INPUT"
echo

printf "%-12s %5s %9s | %7s %8s %7s | %8s %9s %8s\n" picture N pixels zelmar pngquant magick "zel ms" "pngq ms" "mag ms"
SUM_Z=0; SUM_P=0; SUM_M=0; NUM=0; WORST=99
for Name in "${NAMES[@]}"; do
  Pixels=$(( $(identify -format "%w*%h" "$Name.png") ))
  for N in "${COLORS[@]}"; do
    T0=$(now); "$ZELMAR" "$Name.$INPUT" "-convertintooptimalpalette$N" -saveasz.bmp,2 -exit >/dev/null 2>&1; T1=$(now)
    pngquant --nofs --speed 1 -f -o p.png "$N" "$Name.png"; T2=$(now)
    convert "$Name.png" -colors "$N" +dither m.png; T3=$(now)
    Z=$($PSNR "$Name.png" z.bmp); P=$($PSNR "$Name.png" p.png); M=$($PSNR "$Name.png" m.png)
    printf "%-12s %5s %9s | %7s %8s %7s | %8s %9s %8s\n" "$Name" "$N" "$Pixels" "$Z" "$P" "$M" \
      "$(ms "$T0" "$T1")" "$(ms "$T1" "$T2")" "$(ms "$T2" "$T3")"
    # Exact results (inf) count as 99 dB in the averages.
    read -r SUM_Z SUM_P SUM_M WORST < <(awk -v z="$Z" -v p="$P" -v m="$M" -v a="$SUM_Z" -v b="$SUM_P" -v c="$SUM_M" -v w="$WORST" '
      function v(x) { return x == "inf" ? 99 : x }
      BEGIN { d = v(z) - v(p); if (d < w) w = d; print a + v(z), b + v(p), c + v(m), w }')
    NUM=$((NUM + 1))
  done
done
echo
awk -v z="$SUM_Z" -v p="$SUM_P" -v m="$SUM_M" -v n="$NUM" -v w="$WORST" 'BEGIN {
  printf "average PSNR over %d runs: zelmar %.2f, pngquant %.2f, ImageMagick %.2f dB\n", n, z / n, p / n, m / n
  printf "zelmar - pngquant: %+.2f dB on average, %+.2f dB at worst; zelmar - ImageMagick: %+.2f dB on average\n",
         (z - p) / n, w, (z - m) / n }'
