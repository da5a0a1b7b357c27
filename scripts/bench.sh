#!/usr/bin/env bash
# Installs what is missing, builds optimised, and runs the benchmarks: the cost of
# decoding a token; what loading the library and signing in with nimbla-auth cost in
# time and memory, against a bare Qt process; and how long each sign-in method holds
# the main thread (both measured against the emulator, with a real keyring in a
# private D-Bus session). Arguments go to the last one, e.g. --runs 10.
# NIMBLA_QT_MAJOR=6 builds them with Qt 6.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

nimbla_install_missing cmake ninja-build g++ pkg-config "${NIMBLA_QT_PACKAGES[@]}" libpoco-dev libsecret-1-dev \
    dbus gnome-keyring libglib2.0-bin

build="$NIMBLA_ROOT/build/bench$NIMBLA_QT_SUFFIX"
# With the examples: the footprint is nimbla-auth's.
nimbla_build "$build" -DCMAKE_BUILD_TYPE=Release -DNIMBLA_BUILD_TESTS=OFF -DNIMBLA_QT_MAJOR="$NIMBLA_QT_MAJOR"

"$build/bench/bench_jwtcodec" -median 5

home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
export HOME="$home" XDG_RUNTIME_DIR="$home/run"
mkdir -p "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
unset DISPLAY WAYLAND_DISPLAY DBUS_SESSION_BUS_ADDRESS

# Each benchmark fails when a figure misses its goal; the second still runs after a failed first.
status=0
nimbla_with_private_keyring "$build/bench/bench_footprint" || status=1
echo
nimbla_with_private_keyring "$build/bench/bench_mainthreadstall" "$@" | grep -v '^All right!$' || status=1
exit $status
