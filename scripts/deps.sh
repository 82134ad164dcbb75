#!/usr/bin/env bash
# Installs the Debian packages that building and testing need, when some
# are missing. Needs root (or sudo) only when something is to be installed.
set -euo pipefail
# strace: a log test watches the program's writes.
packages=(cmake make gcc g++ libgtest-dev libgif-dev strace)
# The desktop front end, and a display of its own for its tests.
packages+=(libwxgtk3.2-dev xvfb xauth xdotool openbox imagemagick python3 xclip)
# PNG and JPEG input, and the tests' independent reader of them.
packages+=(pkg-config libspng-dev libturbojpeg0-dev python3-pil)
# The example firmware's build (Ninja) and the Debian package's
# dependencies (dpkg-shlibdeps).
packages+=(ninja-build dpkg-dev)
missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
echo "Installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq "${missing[@]}"
