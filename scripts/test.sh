#!/usr/bin/env bash
# Installs what is missing, builds with AddressSanitizer and UndefinedBehaviorSanitizer,
# and runs the whole test suite inside a private D-Bus session with its own keyring.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

nimbla_install_missing "${NIMBLA_PACKAGES[@]}"

build="$NIMBLA_ROOT/build/asan"
nimbla_build "$build" -DCMAKE_BUILD_TYPE=Debug -DNIMBLA_SANITIZE=ON

# Any sanitizer report ends the test with a failure.
export ASAN_OPTIONS="abort_on_error=0:halt_on_error=1:detect_leaks=1:exitcode=23"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export LSAN_OPTIONS="suppressions=$NIMBLA_ROOT/tests/lsan.supp:print_suppressions=0"
# This run provides everything the tests need (keyring, Chromium, Wine): a test that
# would skip for want of it fails instead.
export NIMBLA_REQUIRE_TEST_ENVIRONMENT=1

# The keyring, the settings and the Wine prefix live in a throw-away home.
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
export HOME="$home"
export XDG_CONFIG_HOME="$home/.config" XDG_DATA_HOME="$home/.local/share" XDG_RUNTIME_DIR="$home/run"
mkdir -p "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
unset DISPLAY WAYLAND_DISPLAY DBUS_SESSION_BUS_ADDRESS

nimbla_with_private_keyring ctest --test-dir "$build" --output-on-failure -j2 --timeout 600
