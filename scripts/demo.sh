#!/usr/bin/env bash
# Installs what is missing, builds, and signs in with nimbla-auth, the command-line client, against a
# private login-service emulator. Arguments go to nimbla-auth (see --help), e.g.
#   scripts/demo.sh login --method social-oauth
#
# What a launcher keeps between its starts stays under the build folder: the settings, the emulator's
# state and, on a machine without a desktop keyring, a private keyring. So
#   scripts/demo.sh --method oauth-password --remember
#   scripts/demo.sh --restore
# signs the player in twice, the second time without a password. NIMBLA_QT_MAJOR=6 builds it with Qt 6.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

nimbla_install_missing cmake ninja-build g++ pkg-config "${NIMBLA_QT_PACKAGES[@]}" libpoco-dev \
    libsecret-1-dev dbus gnome-keyring libglib2.0-bin

build="$NIMBLA_ROOT/build/release$NIMBLA_QT_SUFFIX"
nimbla_build "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DNIMBLA_BUILD_TESTS=OFF -DNIMBLA_QT_MAJOR="$NIMBLA_QT_MAJOR"

demo=("$build/examples/cli/nimbla-auth" --emulator "$build/emulator/nimbla-login-emulator"
      --data "$build/demo-data" "$@")

# A desktop session's keyring, or a private one whose files stay under the build folder for the next run.
nimbla_with_launcher_keyring "$build/demo-keyring" "${demo[@]}"
