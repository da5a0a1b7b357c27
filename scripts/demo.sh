#!/usr/bin/env bash
# Installs what is missing, builds, starts the login-service emulator and signs in through the library.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

nimbla_install_missing cmake ninja-build g++ pkg-config qtbase5-dev libpoco-dev libsecret-1-dev

build="$NIMBLA_ROOT/build/release"
nimbla_build "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DNIMBLA_BUILD_TESTS=OFF

exec "$build/examples/demo/nimbla-demo" --emulator "$build/emulator/nimbla-login-emulator" "$@"
