#!/usr/bin/env bash
# Unpacks the Debian packages in <folder> into a temporary root, without installing them, and builds
# and runs launchers against that root alone: the C++ consumer with find_package(NimblaAuth), and a
# QML one that imports NimblaSDK.Auth. scripts/package.sh --test runs it.
#   tests/package/checkdebs.sh <folder of .deb files> <Qt major>
set -euo pipefail
debs=$1 major=$2
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
sources=$(cd "$here/../.." && pwd)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
root="$work/root"
for deb in "$debs"/*.deb; do
    dpkg-deb -x "$deb" "$root"
done
usr="$root/usr"
library=$(find "$usr/lib" -name 'libNimblaAuth*.so.0' | head -n 1)
[ -n "$library" ] || { echo "No libNimblaAuth in the packages" >&2; exit 1; }
export LD_LIBRARY_PATH="$(dirname "$library")"

# The emulator names its stand-ins where its package puts them.
emulator="$usr/bin/nimbla-login-emulator"
for standin in "$usr"/lib/*/nimbla-login-emulator/*.so; do
    installed=${standin#"$root"}
    grep -qF "$installed" "$emulator" || { echo "The emulator does not name $installed" >&2; exit 1; }
done

# The QML module, found by its qmldir wherever the Qt of the packages keeps its imports: both
# launchers import it.
qmldir=$(find "$root" -path '*/NimblaSDK/Auth/qmldir' | head -n 1)
[ -n "$qmldir" ] || { echo "The packages have no NimblaSDK/Auth/qmldir" >&2; exit 1; }
imports=${qmldir%/NimblaSDK/Auth/qmldir}
export QML2_IMPORT_PATH="$imports" QML_IMPORT_PATH="$imports"

cmake -S "$here/consumer" -B "$work/consumer" -G Ninja -DCMAKE_PREFIX_PATH="$usr" -DCONSUMER_QT_MAJOR="$major" \
    >/dev/null
found=$(sed -n 's/^NimblaAuth_DIR:PATH=//p' "$work/consumer/CMakeCache.txt")
[[ "$found" == "$usr"/* ]] || { echo "find_package(NimblaAuth) found $found, not the packages'" >&2; exit 1; }
cmake --build "$work/consumer" -- --quiet
"$work/consumer/consumer" | grep "^consumer: launcher decoded alice on Qt $major\."

cmake -S "$here/qmlconsumer" -B "$work/qmlconsumer" -G Ninja -DCONSUMER_QT_MAJOR="$major" >/dev/null
cmake --build "$work/qmlconsumer" -- --quiet
QT_QPA_PLATFORM=offscreen "$work/qmlconsumer/qmlconsumer" "$here/qmlconsumer/main.qml" | grep "^qmlconsumer: NimblaSDK::AuthManager "
