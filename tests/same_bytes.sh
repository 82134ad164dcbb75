#!/usr/bin/env bash
# The Windows program writes the same bytes as the Linux one: each case
# runs both in folders of their own on the same inputs, then every file
# there (C text, BMP, GIF, the log), standard output and the exit code are
# compared.
#   bash tests/same_bytes.sh build/zelmar-console build-win64/zelmar-console.exe
set -uo pipefail
linux=$(realpath "$1")
windows=$(realpath "$2")
top=$(cd "$(dirname "$0")/.." && pwd)
corpus=${ZELMAR_CORPUS:-$top/../shared/corpus}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export WINEDEBUG=-all

inputs=$work/in
mkdir -p "$inputs"
cp "$top/samples/zelmar-logo.bmp" "$inputs/logo.bmp"
convert "$inputs/logo.bmp" -quality 85 "$inputs/logo.jpg"
cp "$corpus/bmpsuite/g/pal4rle.bmp" "$corpus/bmpsuite/g/pal8rle.bmp" "$corpus/bmpsuite/g/pal1.bmp" \
   "$corpus/bmpsuite/g/rgb16-565.bmp" "$corpus/bmpsuite/g/rgb32.bmp" \
   "$corpus/pngsuite/tbrn2c08.png" "$corpus/pngsuite/basn3p04.png" "$corpus/pngsuite/basn0g16.png" "$inputs/"

cases=(
  "logo.bmp -saveasa.c,1 -saveasb.c,1,8 -saveasc.bmp,2 -saveasd.gif,3 -exit"
  "logo.bmp -convertintobestpalette -saveasa.c,1 -saveasb.c,1,7 -saveasc.c,1,5,1 -saveasd.gif,3 -exit"
  "logo.bmp -convertintogray16 -saveasa.c,1,4 -saveasb.c,1,6 -saveasc.bmp,2 -exit"
  "logo.bmp -convertintobw -fliph -saveasa.c,1,1 -rotate90cw -saveasb.c,1,2 -exit"
  "logo.bmp -convertintooptimalpalette37 -saveasa.c,1,5 -saveasb.gif,3 -exit"
  "logo.bmp -dither1 -convertinto332 -saveasa.c,1,5 -saveasb.bmp,2 -exit"
  "logo.bmp -dither -convertinto8666 -invertpalette -saveasa.c,1 -exit"
  "logo.jpg -saveasa.c,1 -convertintooptimalpalette16 -saveasb.c,1,4 -exit"
  "tbrn2c08.png -saveasa.c,1 -saveasb.gif,3 -saveasc.bmp,2 -exit"
  "basn3p04.png -transparency000000 -saveasa.c,1 -saveasb.gif,3 -exit"
  "basn0g16.png -saveasa.c,1 -exit"
  "pal4rle.bmp -saveasa.c,1,6 -saveasb.c,1 -exit"
  "pal8rle.bmp -rotate180 -saveasa.c,1,7 -saveasb.bmp,2 -exit"
  "pal1.bmp -invertindices -saveasa.c,1 -saveasb.gif,3 -exit"
  "rgb16-565.bmp -convertintorgb -saveasa.c,1 -saveasb.gif,3 -exit"
  "rgb32.bmp -convertinto222 -saveasa.c,1 -exit"
  "logo.bmp -saveasa.gif,3 -exit"
  "logo.bmp -convertintooptimalpalette16 -savetoa.dta,4 -savetob.c,1,10 -savetoc.c,1,12,1 -exit"
  "nothere.bmp -fliph -exit"
  "logo.bmp -saveasbad.c,1,3 -saveasno.c,1 -exit"
  "-?"
)
failed=0
n=0
for c in "${cases[@]}"; do
  n=$((n + 1))
  read -ra args <<<"$c"
  for side in l w; do
    mkdir -p "$work/$n$side"
    cp "$inputs"/* "$work/$n$side/"
  done
  (cd "$work/${n}l" && "$linux" "${args[@]}" >../${n}l.out 2>/dev/null; echo $? >../${n}l.code)
  # the second step reads what the first one wrote
  (cd "$work/${n}l" && [ -f d.gif ] && "$linux" d.gif -saveasfromgif.c,1 -exit >/dev/null 2>&1)
  (cd "$work/${n}w" && timeout 120 wine "$windows" "${args[@]}" >../${n}w.out 2>/dev/null; echo $? >../${n}w.code)
  (cd "$work/${n}w" && [ -f d.gif ] && timeout 120 wine "$windows" d.gif -saveasfromgif.c,1 -exit >/dev/null 2>&1)
  if ! diff -r "$work/${n}l" "$work/${n}w" >/dev/null || ! cmp -s "$work/${n}l.out" "$work/${n}w.out" ||
     ! cmp -s "$work/${n}l.code" "$work/${n}w.code"; then
    echo "DIFFERENT: $c"
    diff -r "$work/${n}l" "$work/${n}w" | head -5
    diff "$work/${n}l.code" "$work/${n}w.code"
    failed=1
  elif [ "$(ls "$work/${n}l" | wc -l)" -le "$(ls "$inputs" | wc -l)" ] && [ "$c" != "-?" ] && [ "${c#nothere}" = "$c" ]; then
    echo "NOTHING WRITTEN: $c"
    failed=1
  fi
done
[ $failed = 0 ] && echo "same bytes: $n cases"
exit $failed
