#!/usr/bin/env bash
# Builds Zelmar for 64-bit Windows on Debian 12 with MinGW-w64 and packs
# dist/zelmar-<version>-win64.zip: the programs, statically linked, the
# README and the sample picture.
#
# The third-party libraries (zlib from Debian's MinGW package; libspng,
# libjpeg-turbo and wxWidgets 3.2 for MSW from Debian's source packages)
# are built once into .cache/win64/<name>-<version> and taken from there
# on later runs (ZELMAR_WIN_CACHE names another folder).
#
#   bash scripts/build-windows.sh            # libraries, programs, zip
#   bash scripts/build-windows.sh --tests    # and the test programs
# ZELMAR_WIN_DESKTOP=0 leaves out wxWidgets and the desktop front end.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
cache=${ZELMAR_WIN_CACHE:-$top/.cache/win64}
build=${ZELMAR_WIN_BUILD:-$top/build-win64}
host=x86_64-w64-mingw32
jobs=$(nproc)
with_tests=OFF
[ "${1:-}" = "--tests" ] && with_tests=ON

sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive

# --- Debian packages ------------------------------------------------------
packages=(cmake make pkg-config zip dpkg-dev nasm g++-mingw-w64-x86-64-posix
          libz-mingw-w64-dev googletest)
missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  $sudo apt-get update -qq
  $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

# --- Source packages: a deb-src twin of the machine's Debian entries -------
bash "$top/scripts/debian-source.sh" --setup

src_version() {
  apt-cache showsrc --only-source "$1" | sed -n 's/^Version: //p' | sort -V | tail -1
}

# Unpacks source package $1 into $cache/src and prints its folder.
fetch_source() {
  bash "$top/scripts/debian-source.sh" "$1" "$cache/src"
}

prefix_of() {
  local v
  v=$(src_version "$1")
  echo "$cache/$1-${v//:/_}"
}

toolchain=$top/cmake/mingw-w64.cmake
cmake_lib() {   # source folder, install prefix, options...
  local src=$1 dest=$2
  shift 2
  rm -rf "$dest.build"
  cmake -S "$src" -B "$dest.build" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$dest" "$@" >/dev/null
  nice cmake --build "$dest.build" -j"$jobs" >/dev/null
  cmake --install "$dest.build" >/dev/null
  rm -rf "$dest.build"
}

spng=$(prefix_of libspng)
build_spng() {
  [ -f "$spng/.done" ] && return 0
  echo "== libspng"
  local src
  src=$(fetch_source libspng)
  # One source file; its own CMake file builds a static library only
  # beside a shared one.
  rm -rf "$spng" && mkdir -p "$spng/include" "$spng/lib/pkgconfig"
  nice $host-gcc-posix -O2 -DSPNG_STATIC -c "$src/spng/spng.c" -o "$spng/lib/spng.o"
  $host-ar rcs "$spng/lib/libspng.a" "$spng/lib/spng.o" && rm "$spng/lib/spng.o"
  cp "$src/spng/spng.h" "$spng/include/"
  printf '%s\n' "prefix=$spng" 'Name: spng' 'Description: PNG decoder' "Version: $(src_version libspng)" \
    'Cflags: -I${prefix}/include -DSPNG_STATIC' 'Libs: -L${prefix}/lib -lspng -lz' >"$spng/lib/pkgconfig/spng.pc"
  touch "$spng/.done"
}

jpeg=$(prefix_of libjpeg-turbo)
build_jpeg() {
  [ -f "$jpeg/.done" ] && return 0
  echo "== libjpeg-turbo"
  local src
  src=$(fetch_source libjpeg-turbo)
  cmake_lib "$src" "$jpeg" -DENABLE_SHARED=OFF -DENABLE_STATIC=ON -DWITH_TURBOJPEG=ON \
    -DCMAKE_ASM_NASM_COMPILER=nasm
  touch "$jpeg/.done"
}

wx=$(prefix_of wxwidgets3.2)
build_wx() {
  [ -f "$wx/.done" ] && return 0
  echo "== wxWidgets for MSW (the longest part)"
  local src
  src=$(fetch_source wxwidgets3.2)
  # An interrupted build goes on where it stopped.
  [ -f "$wx.build/config.status" ] || rm -rf "$wx.build"
  mkdir -p "$wx.build"
  # Debian's tarball has no bundled png, jpeg, tiff or expat: the toolkit
  # goes without them, and without what the program does not use.
  [ -f "$wx.build/config.status" ] || (cd "$wx.build" && "$src/configure" --host=$host --build=x86_64-linux-gnu \
     CC=$host-gcc-posix CXX=$host-g++-posix --prefix="$wx" \
     --with-msw --disable-shared --enable-unicode --with-zlib=sys \
     --without-libpng --without-libjpeg --without-libtiff --without-expat \
     --without-liblzma --without-opengl --disable-svg --disable-xrc --enable-pch \
     --disable-html --disable-htmlhelp --disable-webview --disable-stc --disable-richtext \
     --disable-ribbon --disable-propgrid --disable-aui --disable-mediactrl \
     --disable-sound --disable-sockets --disable-protocols --disable-url --disable-fs_inet \
     --disable-webrequest --without-regex --disable-debugreport --disable-gif --disable-pcx \
     --disable-iff --disable-pnm --disable-tga --disable-help --disable-mshtmlhelp \
     --disable-richtooltip --disable-secretstore \
     >configure.log 2>&1 || { tail -30 configure.log; exit 1; })
  (cd "$wx.build" && nice make -j"$jobs" >make.log 2>&1 || { tail -40 make.log; exit 1; })
  (cd "$wx.build" && make install >/dev/null)
  rm -rf "$wx.build"
  touch "$wx/.done"
}

# For the test programs: googletest from Debian's sources in
# /usr/src/googletest, giflib (the tests' independent GIF codec) from its
# source package.
gtest=$cache/googletest-$(dpkg-query -W -f '${Version}' googletest)
build_gtest() {
  [ -f "$gtest/.done" ] && return 0
  echo "== googletest"
  cmake_lib /usr/src/googletest "$gtest" -DBUILD_GMOCK=OFF -DINSTALL_GTEST=ON
  touch "$gtest/.done"
}

gif=$(prefix_of giflib)
build_gif() {
  [ -f "$gif/.done" ] && return 0
  echo "== giflib"
  local src f
  src=$(fetch_source giflib)
  rm -rf "$gif" && mkdir -p "$gif/include" "$gif/lib" "$gif.build"
  for f in dgif_lib egif_lib gifalloc gif_err gif_hash openbsd-reallocarray; do
    nice $host-gcc-posix -O2 -c "$src/$f.c" -o "$gif.build/$f.o"
  done
  $host-ar rcs "$gif/lib/libgif.a" "$gif.build"/*.o
  cp "$src/gif_lib.h" "$gif/include/"
  rm -rf "$gif.build"
  touch "$gif/.done"
}

if [ -n "${ZELMAR_WIN_ONLY:-}" ]; then
  build_$ZELMAR_WIN_ONLY
  exit 0
fi
build_spng
build_jpeg
prefixes="$spng;$jpeg"
wxconfig=
if [ "${ZELMAR_WIN_DESKTOP:-1}" != 0 ]; then   # 0: the console programs alone
  build_wx
  prefixes="$prefixes;$wx"
  wxconfig=$wx/bin/wx-config
fi
if [ $with_tests = ON ]; then
  build_gtest
  build_gif
  prefixes="$prefixes;$gtest;$gif"
fi
echo "third-party libraries ready: $cache"

# --- The project -----------------------------------------------------------
export PKG_CONFIG_LIBDIR="$spng/lib/pkgconfig:$jpeg/lib/pkgconfig"
cmake -S "$top" -B "$build" -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_PREFIX_PATH="$prefixes" \
  -DwxWidgets_CONFIG_EXECUTABLE="$wxconfig" -DZELMAR_TESTS=$with_tests \
  ${ZELMAR_CORPUS:+-DZELMAR_CORPUS_DIR="$ZELMAR_CORPUS"} >/dev/null
nice cmake --build "$build" -j"$jobs"

# --- The zip ----------------------------------------------------------------
major=$(sed -n 's/^#define VERSION_MAJOR *//p' "$top/app/main.cpp")
minor=$(sed -n 's/^#define VERSION_MINOR *//p' "$top/app/main.cpp")
version=$major.$minor
name=zelmar-$version-win64
stage=$build/$name
rm -rf "$stage" && mkdir -p "$top/dist"
# The programs and the CMake package (lib/cmake/Zelmar) as cmake --install
# lays them out for Windows.
cmake --install "$build" --prefix "$stage" --strip >/dev/null
for exe in zelmar zelmar-console; do
  # Statically linked: nothing but the system's DLLs.
  if $host-objdump -p "$stage/$exe.exe" | sed -n 's/^\s*DLL Name: //p' |
       grep -viE '^(kernel32|user32|gdi32|comdlg32|comctl32|shell32|ole32|oleaut32|uuid|advapi32|winspool|winmm|version|shlwapi|uxtheme|oleacc|rpcrt4|msvcrt|ws2_32|imm32|msimg32|gdiplus|dwmapi|api-ms-win-.*)\.dll$|^winspool\.drv$'; then
    echo "$exe.exe needs a DLL that Windows does not have" >&2
    exit 1
  fi
done
sed 's/$/\r/' "$top/README.md" >"$stage/README.txt"
cp "$top/samples/zelmar-logo.bmp" "$stage/"
rm -f "$top/dist/$name.zip"
(cd "$build" && zip -qr "$top/dist/$name.zip" "$name")
echo "dist/$name.zip"
