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

# A desktop session with a running Secret Service keeps the remembered session in the user's keyring.
if [ -n "${DBUS_SESSION_BUS_ADDRESS:-}" ] &&
   gdbus introspect --session --dest org.freedesktop.secrets --object-path /org/freedesktop/secrets >/dev/null 2>&1; then
    exec "${demo[@]}"
fi

# Otherwise a private keyring, whose files stay under the build folder for the next run.
keyring="$build/demo-keyring"
mkdir -p "$keyring/data" "$keyring/run"
chmod 700 "$keyring/run"
export XDG_DATA_HOME="$keyring/data" XDG_RUNTIME_DIR="$keyring/run"
unset DBUS_SESSION_BUS_ADDRESS
nimbla_with_private_keyring "${demo[@]}"
