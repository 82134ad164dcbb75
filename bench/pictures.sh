# The quality benches' pictures from Debian packages (sourced by quant.sh
# and dither.sh): photos, screenshots, icons, a gradient and wallpapers.
OPENCV=/usr/share/doc/opencv-doc/examples/data
PICTURES=(
  "baboon:$OPENCV/baboon.jpg"
  "fruits:$OPENCV/fruits.jpg"
  "leuven:$OPENCV/leuvenA.jpg"
  "building:$OPENCV/building.jpg"
  "starry:$OPENCV/starry_night.jpg"
  "kcachegrind:/usr/share/doc/valgrind/html/images/kcachegrind_xtree.png"
  "scrot:/usr/share/doc/scrot/scrot.png"
  "icon-gaming:/usr/share/icons/Adwaita/512x512/devices/input-gaming.png"
  "icon-folder:/usr/share/icons/Adwaita/512x512/places/folder-pictures.png"
  "gradient:$OPENCV/gradient.png"
  "adwaita-1mp:/usr/share/backgrounds/gnome/adwaita-d.webp"
  "wood-1mp:/usr/share/backgrounds/gnome/wood-l.webp"
)

now() { date +%s%N; }
ms() { echo $(( ($2 - $1) / 1000000 )); }

# Writes each installed picture into the current folder as NAME.png,
# flattened onto white (RGB, so every tool sees the same picture; the
# wallpapers scaled to one megapixel), and lists the names in NAMES.
flatten_pictures() {
  NAMES=()
  local Entry Name File Resize
  for Entry in "${PICTURES[@]}"; do
    Name=${Entry%%:*}; File=${Entry#*:}
    [ -f "$File" ] || { echo "skipped (not installed): $File" >&2; continue; }
    Resize=()
    case $Name in *-1mp) Resize=(-resize 1024x1024) ;; esac
    convert "$File" "${Resize[@]}" -background white -alpha remove -alpha off PNG24:"$Name.png" && NAMES+=("$Name")
  done
}
