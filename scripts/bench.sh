#!/usr/bin/env bash
# Installs what is missing, builds optimised, and runs the benchmarks: the cost of
# decoding a token, and how long each sign-in method holds the main thread
# (measured against the emulator, with a real keyring in a private D-Bus session).
# NIMBLA_QT_MAJOR=6 builds them with Qt 6.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

nimbla_install_missing cmake ninja-build g++ pkg-config "${NIMBLA_QT_PACKAGES[@]}" libpoco-dev libsecret-1-dev \
    dbus gnome-keyring libglib2.0-bin

build="$NIMBLA_ROOT/build/bench$NIMBLA_QT_SUFFIX"
nimbla_build "$build" -DCMAKE_BUILD_TYPE=Release -DNIMBLA_BUILD_TESTS=OFF -DNIMBLA_BUILD_EXAMPLES=OFF \
    -DNIMBLA_QT_MAJOR="$NIMBLA_QT_MAJOR"

"$build/bench/bench_jwtcodec" -median 5

home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
export HOME="$home" XDG_RUNTIME_DIR="$home/run"
mkdir -p "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
unset DISPLAY WAYLAND_DISPLAY DBUS_SESSION_BUS_ADDRESS

nimbla_with_private_keyring "$build/bench/bench_mainthreadstall" "$@" | grep -v '^All right!$'
