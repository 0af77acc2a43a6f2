#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Makes the Debian packages with scripts/make-packages.sh and checks them as a user meets them:
# each one's control fields and files; then, unpacked into a temporary root, a host project built
# against them with find_package and with pkg-config and run, and (Qt 5) the installed qzparam
# reading the installed qz-modbus-device.
# Usage: deb_packages.sh <source dir> <work dir> <5|6>
set -euo pipefail
src=$1 work=$2 qt=$3
rm -rf "$work"
mkdir -p "$work"
log="$work/make-packages.log"
"$src/scripts/make-packages.sh" --qt "$qt" > "$log" 2>&1 || { cat "$log"; exit 1; }

suffix="" runtime=libqzgui0 dev=libqzgui-dev qtlib=libqt5widgets5 charts=libqt5charts5 qtdev=qtbase5-dev
if [ "$qt" = 6 ]; then
    suffix="-qt6" runtime=libqzgui-qt6-0 dev=libqzgui-qt6-dev qtlib=libqt6widgets6 charts=libqt6charts6 qtdev=qt6-base-dev
fi
out="$src/packages$suffix"
arch=$(dpkg --print-architecture)
multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
version=$(grep -m1 -oP '^\s+VERSION \K[0-9.]+' "$src/CMakeLists.txt")-1
fail() { echo "FAIL: $*"; exit 1; }

packages=("$runtime" "$dev")
[ "$qt" = 5 ] && packages+=(qzgui-tools)
[ "$(ls "$out"/*.deb | wc -l)" = "${#packages[@]}" ] || fail "expected ${packages[*]}, made: $(ls "$out")"

# Control fields.
field() { dpkg-deb -f "$out/${1}_${version}_$arch.deb" "$2"; }
for p in "${packages[@]}"; do
    [ -f "$out/${p}_${version}_$arch.deb" ] || fail "no $p ${version} for $arch"
    [ "$(field "$p" Package)" = "$p" ] || fail "$p: Package"
    [ "$(field "$p" Version)" = "$version" ] || fail "$p: Version"
    [ "$(field "$p" Priority)" = optional ] || fail "$p: Priority"
    field "$p" Maintainer | grep -qE '^.+ <.+@.+>$' || fail "$p: Maintainer"
    field "$p" Homepage | grep -q '^https://' || fail "$p: Homepage"
    [ "$(field "$p" Description | wc -l)" -ge 3 ] || fail "$p: a description of one line"
done
[ "$(field "$runtime" Section)" = libs ] || fail "$runtime: Section"
[ "$(field "$dev" Section)" = libdevel ] || fail "$dev: Section"
depends=$(field "$runtime" Depends)
for d in libc6 "$qtlib" "$charts"; do
    echo "$depends" | grep -q "$d" || fail "$runtime does not depend on $d: $depends"
done
echo "$depends" | grep -q qzgui && fail "$runtime depends on itself: $depends"
depends=$(field "$dev" Depends)
dev_needs=("$runtime (= $version)" "$qtdev")
# find_package(Qt6 COMPONENTS Charts) fails without Qt's OpenGL development files.
[ "$qt" = 6 ] && dev_needs+=(libqt6opengl6-dev)
for d in "${dev_needs[@]}"; do
    echo "$depends" | grep -qF "$d" || fail "$dev does not depend on $d: $depends"
done
if [ "$qt" = 5 ]; then
    [ "$(field qzgui-tools Section)" = electronics ] || fail "qzgui-tools: Section"
    depends=$(field qzgui-tools Depends)
    for d in "$runtime (= $version)" libqt5serialport5 libqt5network5; do
        echo "$depends" | grep -qF "$d" || fail "qzgui-tools does not depend on $d: $depends"
    done
fi
# The runtime package says which SONAMEs it holds and runs ldconfig.
control=$(dpkg-deb --ctrl-tarfile "$out/${runtime}_${version}_$arch.deb" | tar -t)
echo "$control" | grep -q shlibs || fail "$runtime: no shlibs"
echo "$control" | grep -q triggers || fail "$runtime: no ldconfig trigger"

# Files.
files() { dpkg-deb -c "$out/${1}_${version}_$arch.deb" | awk '{print $6}' | sed 's|^\./|/|'; }
has() { files "$1" | grep -qx "$2" || fail "$1 lacks $2"; }
lacks() { ! files "$1" | grep -qE "$2" || fail "$1 holds $2"; }
lib="/usr/lib/$multiarch"
for l in qzgui qzgui_module_api qzgui_modbus qzgui_trend; do
    has "$runtime" "$lib/lib$l$suffix.so.0"
    has "$runtime" "$lib/lib$l$suffix.so.0.1.0"
    has "$dev" "$lib/lib$l$suffix.so"
done
has "$runtime" "$lib/qt$qt/plugins/designer/libqzgui_designer.so"
has "$runtime" "/usr/share/qzgui$suffix/translations/qzgui_de.qm"
# The Designer plugin is a module, not a library link: only the libraries' .so links are development files.
lacks "$runtime" "^$lib/[^/]*\\.so\$|/include/|\\.pc\$|cmake"
include="/usr/include"
[ "$qt" = 6 ] && include="/usr/include/qzgui-qt6"
for h in qzgui/qzgui_export.h qzgui/poller.h qzgui/modbus/register_map.h qzgui/trend/trend_view.h module_api/qz_module.h; do
    has "$dev" "$include/$h"
done
has "$dev" "$lib/cmake/qzgui$suffix/qzgui${suffix}Config.cmake"
for pc in qzgui$suffix qzgui_modbus$suffix qzgui_trend$suffix; do
    has "$dev" "$lib/pkgconfig/$pc.pc"
done
lacks "$dev" '\.so\.0'
for p in "${packages[@]}"; do
    has "$p" "/usr/share/doc/$p/copyright"
    has "$p" "/usr/share/doc/$p/changelog.Debian.gz"
done
if [ "$qt" = 5 ]; then
    for t in qzparam qz-modbus-device qzpanel; do
        has qzgui-tools "/usr/bin/$t"
        has qzgui-tools "/usr/share/man/man1/$t.1.gz"
    done
    has qzgui-tools "/usr/share/qzgui/translations/qzpanel_de.qm"
    lacks qzgui-tools '\.so'
fi

# Beside the other Qt's packages, where they were made: no file in both.
other="$src/packages"
[ "$qt" = 5 ] && other="$src/packages-qt6"
if ls "$other"/*.deb > /dev/null 2>&1; then
    both=$(comm -12 <(for p in "$out"/*.deb; do dpkg-deb -c "$p" | awk '$1 !~ /^d/ {print $6}'; done | sort) \
                    <(for p in "$other"/*.deb; do dpkg-deb -c "$p" | awk '$1 !~ /^d/ {print $6}'; done | sort))
    [ -z "$both" ] || fail "files in the Qt 5 and Qt 6 packages alike: $both"
fi

# Unpacked into a root of its own, as apt would install them under /.
root="$work/root"
for p in "${packages[@]}"; do dpkg-deb -x "$out/${p}_${version}_$arch.deb" "$root"; done
export LD_LIBRARY_PATH="$root$lib" QT_QPA_PLATFORM=offscreen
# No RPATH: the libraries are found where the loader looks.
if readelf -d "$root$lib/libqzgui$suffix.so.0" | grep -qE 'RPATH|RUNPATH'; then fail "libqzgui has an RPATH"; fi

cmake -S "$src/tests/package/consumer" -B "$work/find_package" -DCMAKE_PREFIX_PATH="$root/usr" \
    -DQZGUI_PACKAGE="qzgui$suffix" > "$work/find_package.log" 2>&1 || { cat "$work/find_package.log"; fail "cmake"; }
cmake --build "$work/find_package" --parallel 2 >> "$work/find_package.log" 2>&1 || { cat "$work/find_package.log"; fail "build"; }
"$work/find_package/qzgui_consumer"
"$work/find_package/qzgui_modbus_consumer"
"$work/find_package/qzgui_trend_consumer"

export PKG_CONFIG_PATH="$root$lib/pkgconfig"
for c in "qzgui$suffix:main" "qzgui_modbus$suffix:modbus_main" "qzgui_trend$suffix:trend_main"; do
    package=${c%%:*} source=${c##*:}
    g++ -std=c++17 -fPIC "$src/tests/package/consumer/$source.cpp" $(pkg-config --cflags --libs "$package") \
        -o "$work/pkgconfig_$source"
    "$work/pkgconfig_$source"
done

if [ "$qt" = 5 ]; then
    # The installed qzparam reads the installed qz-modbus-device.
    "$root/usr/bin/qz-modbus-device" --listen tcp://127.0.0.1:0 --map "$src/tools/qzpanel/example_map.json" \
        > "$work/device.log" &
    device=$!
    trap 'kill $device 2>/dev/null || true' EXIT
    for _ in $(seq 100); do grep -q '^listening on ' "$work/device.log" && break; sleep 0.1; done
    address=$(sed -n 's/^listening on //p' "$work/device.log")
    [ -n "$address" ] || fail "qz-modbus-device did not start"
    XDG_CONFIG_HOME="$work/config" "$root/usr/bin/qzparam" --device "$address" \
        --map "$src/tools/qzpanel/example_map.json" read 0x0003 > "$work/read.txt"
    [ "$(cat "$work/read.txt")" = "0x0003 = 12" ] || fail "qzparam read: $(cat "$work/read.txt")"
    "$root/usr/bin/qzpanel" --help | grep -q -- --device || fail "qzpanel --help"
    zcat "$root/usr/share/man/man1/qzparam.1.gz" | grep -q '^\.TH QZPARAM' || fail "qzparam's man page"
fi
echo "packages checked: ${packages[*]}"
