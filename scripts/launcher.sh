#!/usr/bin/env bash
# Installs what is missing, builds, and starts the demo launcher, a Qt Quick sign-in screen, against a
# private login-service emulator whose state stays under the build folder. Arguments go to the
# launcher: --config FILE signs in against the service of that configuration instead. Without a
# desktop keyring, a private one keeps the remembered session under the build folder.
# It needs a desktop; on a headless machine without OpenGL,
# QT_QPA_PLATFORM=offscreen QT_QUICK_BACKEND=software runs it unseen.
# NIMBLA_QT_MAJOR=6 builds it with Qt 6.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

nimbla_install_missing cmake ninja-build g++ pkg-config "${NIMBLA_QT_PACKAGES[@]}" libpoco-dev libsecret-1-dev \
    dbus gnome-keyring libglib2.0-bin

build="$NIMBLA_ROOT/build/release$NIMBLA_QT_SUFFIX"
nimbla_build "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DNIMBLA_BUILD_TESTS=OFF -DNIMBLA_QT_MAJOR="$NIMBLA_QT_MAJOR"

# A desktop session's keyring, or a private one whose files stay under the build folder for the next run.
nimbla_with_launcher_keyring "$build/launcher-keyring" "$build/examples/launcher/nimbla-launcher" \
    --data "$build/launcher-data" "$@"
