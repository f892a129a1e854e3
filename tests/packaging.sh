#!/usr/bin/env bash
# The install rules and the Debian package: plug-in under Qt's plug-in folder in tarnwick/,
# gdapp and drive-emulator in bin/.
#   packaging.sh BUILD_DIR PLUGIN_DIR
set -euo pipefail
build=$1
plugin_dir=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

cmake --install "$build" --prefix "$scratch/prefix" >/dev/null
for file in "$plugin_dir/libgdrive.so" bin/gdapp bin/drive-emulator; do
    [ -f "$scratch/prefix/$file" ] || { echo "missing after install: $file" >&2; exit 1; }
done
# The installed host finds the installed plug-in by itself.
env -u GDAPP_PLUGIN_PATH "$scratch/prefix/bin/gdapp" --help >/dev/null

(cd "$scratch" && cpack --config "$build/CPackConfig.cmake" -B "$scratch/package" >/dev/null)
deb=$(ls "$scratch"/package/*.deb)
contents=$(dpkg-deb -c "$deb")
for file in "./usr/$plugin_dir/libgdrive.so" ./usr/bin/gdapp ./usr/bin/drive-emulator; do
    grep -qF "$file" <<<"$contents" || { echo "missing from $deb: $file" >&2; exit 1; }
done
dpkg-deb -f "$deb" Package Depends | grep -q libqt6networkauth6
echo "installed and packaged: $(basename "$deb")"
