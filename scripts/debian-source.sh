#!/usr/bin/env bash
# Debian's own source of a third-party library, for the builds that
# compile it themselves (the Windows build, the static build-step program).
#   bash scripts/debian-source.sh --setup          deb-src entries only
#   bash scripts/debian-source.sh PACKAGE [DIR]    unpacks PACKAGE's source
#                                                  into DIR (default
#                                                  .cache/src), prints its folder
# The source entries are a deb-src twin of the machine's Debian entries.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive

if ! dpkg -s dpkg-dev >/dev/null 2>&1; then
  $sudo apt-get install -y -qq --no-install-recommends dpkg-dev >&2
fi
if ! apt-cache showsrc libspng 2>/dev/null | grep -q '^Version:'; then
  list=/etc/apt/sources.list.d
  if [ -f $list/debian.sources ]; then
    sed 's/^Types: deb$/Types: deb-src/' $list/debian.sources | $sudo tee $list/zelmar-src.sources >/dev/null
  else
    grep -h '^deb ' /etc/apt/sources.list $list/*.list 2>/dev/null | grep debian |
      sed 's/^deb /deb-src /' | $sudo tee $list/zelmar-src.list >/dev/null
  fi
  $sudo apt-get update -qq >&2
fi
[ "$1" = --setup ] && exit 0

name=$1
dest=${2:-$top/.cache/src}
mkdir -p "$dest"
dest=$(cd "$dest" && pwd)
dir=$(ls -d "$dest/$name"-*/ 2>/dev/null | head -1 || true)
if [ -z "$dir" ]; then
  version=$(apt-cache showsrc --only-source "$name" | sed -n 's/^Version: //p' | sort -V | tail -1)
  (cd "$dest" && { apt-get source -qq --only-source "$name=$version" >/dev/null 2>&1 ||
                   apt-get source --only-source "$name=$version" >&2; })
  dir=$(ls -d "$dest/$name"-*/ | head -1)
fi
echo "${dir%/}"
