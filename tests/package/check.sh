#!/usr/bin/env bash
# Installs the packages of a folder into a root of their own, and builds and runs the examples that are there.
set -euo pipefail
packages=$(cd "$1" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"; kill $(jobs -p) 2>/dev/null || true' EXIT

root=$work/root
mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates" "$root/var/lib/dpkg/triggers"
touch "$root/var/lib/dpkg/status" "$root/var/lib/dpkg/available"
# What they depend on is outside of that root.
dpkg --root="$root" --force-depends --force-not-root --force-script-chrootless --log=/dev/null -i "$packages"/*.deb >"$work/dpkg.log" 2>&1 ||
    { cat "$work/dpkg.log"; exit 1; }
documents=$root/usr/share/doc/libvox-dev
examples=$documents/examples
libdir=$(dirname "$(find "$root/usr/lib" -name 'libvox.so.1')")
export LD_LIBRARY_PATH=$libdir QT_LOGGING_RULES='vox.bus.debug=false'

meet() {
    "$1/example-emulator" 2>/dev/null &
    local emulator=$! said=
    for _ in 1 2 3 4 5; do
        sleep 0.3
        said=$("$1/example-host" 2>&1) && break
    done
    kill $emulator
    [[ $said == *"at 1000 pulses, 50 %"*"refused: IP_NOT_SET"*"no answer: "* ]] || { echo "$2: the host said: $said"; exit 1; }
    echo "package: host and emulator built by $2 meet"
}

cmake -G Ninja -S "$examples" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$root/usr" >/dev/null
cmake --build "$work/cmake" >/dev/null
meet "$work/cmake" CMake

export PKG_CONFIG_PATH=$libdir/pkgconfig
mkdir "$work/plain"
for example in host emulator; do
    # shellcheck disable=SC2046
    g++ -std=c++17 -fPIC "$examples/$example/main.cpp" -o "$work/plain/example-$example" $(pkg-config --cflags --libs vox)
done
meet "$work/plain" pkg-config

[ -x "$work/cmake/example-qml-list" ]

# Each document that another one names is there, and the reference.
for document in "$documents"/*.md "$documents"/docs/*.md; do
    { grep -oE '\]\([A-Za-z/]+\.md\)' "$document" || true; } | tr -d ']()' | while read -r link; do
        [ -f "${document%/*}/$link" ] || { echo "$document names $link, which is not in the package"; exit 1; }
    done
done
grep -q KVRMotorProxy "$documents/reference/annotated.html"
echo "package: documents, examples and the reference are in libvox-dev"

"$root/usr/bin/vox" --version
zcat "$root/usr/share/man/man1/vox.1.gz" | grep -q '^.SS "vox monitor'
[ -f "$root/usr/share/bash-completion/completions/vox" ]
