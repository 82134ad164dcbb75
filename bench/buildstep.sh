#!/usr/bin/env bash
# Speed of the build step, in a Release tree of its own (build-buildstep,
# console programs only, zelmar-console linked statically; later runs only
# rebuild what changed):
#   one icon      zelmar-console converting one 64 x 64 RGBA PNG to 4 bits, the
#                 median of 50 runs, beside /bin/true started the same way
#   100 icons     zelmar_add_images() on 100 PNGs, target <t>_images built
#                 from clean with Ninja -j2 (median of 3)
#   no-op         Ninja on the whole finished project again (median of 5)
# Each with its processor time (user and system of all processes started),
# which a busy machine changes less than the wall time.
#
#   bench/buildstep.sh [NUM_ICONS]
set -euo pipefail

cd "$(dirname "$0")/.."
top=$(pwd)
NUM=${1:-100}
BUILD=build-buildstep
# zelmar-console linked statically, with Debian's libspng source compiled
# in, as the packages ship it.
spng=$(bash scripts/debian-source.sh libspng)
if [ ! -f "$BUILD/CMakeCache.txt" ]; then
  cmake -S . -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=Release -DZELMAR_TESTS=OFF \
    -DCMAKE_DISABLE_FIND_PACKAGE_wxWidgets=ON >/dev/null
fi
cmake -S . -B "$BUILD" -DZELMAR_SPNG_SOURCE="$spng" >/dev/null
cmake --build "$BUILD" -j2 --target zelmar zelmar-console >/dev/null
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$BUILD" --prefix "$work/prefix" >/dev/null

# A firmware library of NUM icons, alternately the example's two.
mkdir -p "$work/src/icons"
cp -r examples/firmware/omrak "$work/src/"
# Two 64 x 64 RGBA icons as a desktop draws them: a shaded disc with a
# soft, anti-aliased edge (some hundreds of colours and alpha levels).
/usr/bin/python3 - "$work" <<'EOT'
import math, sys
from PIL import Image
for name, hue in (("a", (40, 120, 220)), ("b", (230, 120, 30))):
    im = Image.new("RGBA", (64, 64))
    for y in range(64):
        for x in range(64):
            d = math.hypot(x - 31.5, y - 31.5)
            a = max(0, min(255, int((29.5 - d) * 255)))
            s = 0.55 + 0.45 * (1 - (x + y) / 126)
            im.putpixel((x, y), tuple(int(c * s) for c in hue) + (a,))
    im.save("%s/%s.png" % (sys.argv[1], name))
EOT
for i in $(seq -w 1 "$NUM"); do
  if [ $((10#$i % 2)) -eq 0 ]; then pic=a; else pic=b; fi
  cp "$work/$pic.png" "$work/src/icons/icon$i.png"
done
cat >"$work/src/CMakeLists.txt" <<'EOT'
cmake_minimum_required(VERSION 3.16)
project(Icons C)
find_package(Zelmar REQUIRED)
file(GLOB icons icons/*.png)
add_library(icons STATIC omrak/omrak.c)
target_include_directories(icons PRIVATE omrak)
zelmar_add_images(icons IMAGES ${icons} OPTIONS -convertintooptimalpalette16 FORMAT 4)
EOT
cmake -S "$work/src" -B "$work/build" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null

/usr/bin/python3 - "$work" "$NUM" <<'EOT'
import os, resource, statistics, subprocess, sys, time
work, num = sys.argv[1], int(sys.argv[2])
build = os.path.join(work, "build")
program = os.path.join(work, "prefix", "bin", "zelmar-console")
icon = os.path.join(work, "src", "icons", "icon%0*d.png" % (len(str(num)), 1))

def cpu():
    r = resource.getrusage(resource.RUSAGE_CHILDREN)
    return r.ru_utime + r.ru_stime

def timed(args, cwd, before=None):
    """Wall time and processor time (user and system, children included)."""
    if before:
        before()
    c, t = cpu(), time.perf_counter()
    subprocess.run(args, cwd=cwd, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return time.perf_counter() - t, cpu() - c

def median(n, args, cwd, before=None):
    runs = [timed(args, cwd, before) for _ in range(n)]
    return statistics.median(r[0] for r in runs), statistics.median(r[1] for r in runs)

convert = [icon, "-convertintooptimalpalette16", "-savetoicon.c,1,4", "-exit"]
one = median(50, [program] + convert, work)
floor = median(50, ["/bin/true"] + convert, work)
clean = lambda: subprocess.run(["ninja", "-t", "clean", "icons_images"], cwd=build, check=True, stdout=subprocess.DEVNULL)
many = median(3, ["ninja", "-j2", "icons_images"], build, clean)
subprocess.run(["ninja", "-j2"], cwd=build, check=True, stdout=subprocess.DEVNULL)
noop = median(5, ["ninja", "-j2"], build)
print("load average before: %.1f %.1f %.1f" % os.getloadavg())
print("| What | Wall time | Processor time |")
print("|---|---|---|")
print("| one icon, zelmar-console (median of 50) | %.1f ms | %.1f ms |" % (one[0] * 1e3, one[1] * 1e3))
print("| the same with /bin/true (the floor) | %.1f ms | %.1f ms |" % (floor[0] * 1e3, floor[1] * 1e3))
print("| %d icons, <t>_images, Ninja -j2 (median of 3) | %.2f s | %.2f s |" % (num, many[0], many[1]))
print("| no-op rebuild, Ninja (median of 5) | %.1f ms | %.1f ms |" % (noop[0] * 1e3, noop[1] * 1e3))
EOT
