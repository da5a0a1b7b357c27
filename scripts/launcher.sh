#!/usr/bin/env bash
# Installs what is missing, builds, and starts the demo launcher, a Qt Quick sign-in screen, against a
# private login-service emulator whose state stays under the build folder. Arguments go to the
# launcher: --config FILE signs in against the service of that configuration instead.
# It needs a desktop; on a headless machine, QT_QPA_PLATFORM=offscreen runs it unseen.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

nimbla_install_missing cmake ninja-build g++ pkg-config qtbase5-dev qtdeclarative5-dev qttools5-dev \
    qttools5-dev-tools libpoco-dev libsecret-1-dev qml-module-qtquick2 qml-module-qtquick-controls2 \
    qml-module-qtquick-layouts qml-module-qtquick-window2

build="$NIMBLA_ROOT/build/release"
nimbla_build "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DNIMBLA_BUILD_TESTS=OFF

exec "$build/examples/launcher/nimbla-launcher" --data "$build/launcher-data" "$@"
