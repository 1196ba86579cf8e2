#!/usr/bin/env bash
# Installs the packages of two folders, with Qt 5 and with Qt 6, into one root, and builds and runs programs against each.
set -euo pipefail
tests=$(cd "$(dirname "$0")/.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"; kill $(jobs -p) 2>/dev/null || true' EXIT

root=$work/root
mkdir -p "$root/etc" "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates" "$root/var/lib/dpkg/triggers"
touch "$root/var/lib/dpkg/status" "$root/var/lib/dpkg/available"
# What they depend on is outside of that root. A file that is in two packages is an error.
dpkg --root="$root" --force-depends --force-not-root --force-script-chrootless --log=/dev/null -i "$1"/*.deb "$2"/*.deb >"$work/dpkg.log" 2>&1 ||
    { cat "$work/dpkg.log"; exit 1; }
documents=$root/usr/share/doc/libvox-dev
examples=$documents/examples
libdir=$(dirname "$(find "$root/usr/lib" -name 'libvox.so.1.0')")
export LD_LIBRARY_PATH=$libdir QT_LOGGING_RULES='vox.bus.debug=false' PKG_CONFIG_PATH=$libdir/pkgconfig

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
"$work/cmake/example-host-test" >/dev/null
mkdir "$work/plain"
for example in host emulator; do
    # shellcheck disable=SC2046
    g++ -std=c++17 -fPIC "$examples/$example/main.cpp" -o "$work/plain/example-$example" $(pkg-config --cflags --libs vox)
done
meet "$work/plain" pkg-config

# What a simulation says that was built against the packages.
simulated() {
    [ "$("$1")" = "TB60LV: delay 250 00A1B2" ] || { echo "$1 does not say what it should"; exit 1; }
}

# A program loads the libraries of the Qt that it was built for, and no others.
client() {
    local loaded
    [ "$("$1")" = 800A1B2 ]
    loaded=$(ldd "$1")
    [[ $loaded == *"libQt$2Core.so"* && $loaded != *"libQt$((11 - $2))Core.so"* ]] || { echo "$1 loads $loaded"; exit 1; }
}
for qt in 5 6; do
    package=Vox module=vox
    [ $qt = 5 ] || package=VoxQt6 module=vox-qt6
    cmake -G Ninja -S "$tests/client" -B "$work/client-$qt" -DPACKAGE=$package -DCMAKE_PREFIX_PATH="$root/usr" >/dev/null
    cmake --build "$work/client-$qt" >/dev/null
    client "$work/client-$qt/client" $qt
    # shellcheck disable=SC2046
    g++ -std=c++17 -fPIC "$tests/client/main.cpp" -o "$work/plain-$qt" $(pkg-config --cflags --libs $module)
    client "$work/plain-$qt" $qt
    # shellcheck disable=SC2046
    g++ -std=c++17 -fPIC "$tests/client/simulated.cpp" -o "$work/simulated-$qt" $(pkg-config --cflags --libs "${module/vox/vox-simulation}")
    simulated "$work/simulated-$qt"
    simulated "$work/client-$qt/simulated"
    echo "package: a client finds $package and $module beside each other"
done
cmake -G Ninja -S "$examples" -B "$work/examples-6" -DVOX_QT=6 -DCMAKE_PREFIX_PATH="$root/usr" >/dev/null
cmake --build "$work/examples-6" --target example-hello-host example-qml-tiles >/dev/null
# A page that does not find the module, or a name in it, ends at once, or complains.
tiles() {
    said=$(QML2_IMPORT_PATH=$libdir/qt$2/qml XDG_RUNTIME_DIR=$work QT_QPA_PLATFORM=offscreen QT_QUICK_BACKEND=software \
        "$1/example-qml-tiles" "$work/tiles-$2.png" 2>&1) && [ -s "$work/tiles-$2.png" ] && [ -z "$said" ] ||
        { echo "qml-tiles with Qt $2 does not show itself: $said"; exit 1; }
    [ -s "$libdir/qt$2/qml/Vox/plugins.qmltypes" ]
    echo "package: a page finds the QML module for Qt $2"
}
tiles "$work/cmake" 5
tiles "$work/examples-6" 6

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

# The bridge's service is of the version of the tools, sound, for a user of its own, and off until somebody wants it.
deb=$(ls "$1"/vox-bridge_*.deb) units=$root/usr/lib/systemd/system
[ "$(dpkg-deb -f "$deb" Depends)" = "vox-tools (= $(dpkg-deb -f "$deb" Version))" ]
[ -z "$(dpkg-deb --ctrl-tarfile "$deb" | tar xO ./postinst | grep -E 'systemctl|deb-systemd|invoke-rc')" ]
[ ! -e "$root/etc/vox" ]
[ -z "$(find "$root" -name '*.wants')" ]
if command -v systemd-sysusers >/dev/null; then
    grep -q "^$(sed -n 's/^User=//p' "$units/vox-bridge.service"):.*:/usr/sbin/nologin$" "$root/etc/passwd"
fi
if command -v systemd-analyze >/dev/null && [ -f /lib/systemd/system/sysinit.target ]; then
    # What the unit refers to is the system's.
    cp /lib/systemd/system/*.target "$units"
    said=$(systemd-analyze verify --man=no --root="$root" vox-bridge.service 2>&1) && [ -z "$said" ] ||
        { echo "vox-bridge.service: $said"; exit 1; }
fi
# On no adapter that this machine may have.
sed 's|serial:[^"]*|udp://127.0.0.1:9|' "$root/usr/share/doc/vox-bridge/examples/site.json" >"$work/site.json"
"$root/usr/bin/vox" bridge --dry --config "$work/site.json" | grep '^homeassistant/device/vox_north_group_00A001/config {' >/dev/null
echo "package: the service of the bridge is sound"
