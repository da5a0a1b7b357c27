#!/usr/bin/env bash
# Installs what is missing and builds and runs the whole test suite twice, both times with
# AddressSanitizer and UndefinedBehaviorSanitizer: on Qt 5.15 (the default, build/asan), then on
# Qt 6 (build/qt6). Each run is inside a private D-Bus session with its own keyring.
# A failure on either Qt fails the whole run; the second still runs after a failed first.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

nimbla_install_missing "${NIMBLA_PACKAGES[@]}"

# Any sanitizer report ends the test with a failure.
export ASAN_OPTIONS="abort_on_error=0:halt_on_error=1:detect_leaks=1:exitcode=23"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export LSAN_OPTIONS="suppressions=$NIMBLA_ROOT/tests/lsan.supp:print_suppressions=0"
# This run provides everything the tests need (keyring, Chromium, Wine, both Qt versions): a test
# that would skip for want of it fails instead.
export NIMBLA_REQUIRE_TEST_ENVIRONMENT=1
unset DISPLAY WAYLAND_DISPLAY DBUS_SESSION_BUS_ADDRESS

homes=()
trap 'rm -rf "${homes[@]}"' EXIT

# nimbla_test_suite <build folder> <Qt major> [ctest options...]
nimbla_test_suite() {
    local build=$1 major=$2
    shift 2
    nimbla_build "$build" -DCMAKE_BUILD_TYPE=Debug -DNIMBLA_SANITIZE=ON -DNIMBLA_QT_MAJOR="$major" || return
    # The keyring, the settings and the Wine prefix live in a throw-away home, one per suite,
    # so that the second suite finds nothing the first one left.
    local home
    home=$(mktemp -d)
    homes+=("$home")
    (
        export HOME="$home"
        export XDG_CONFIG_HOME="$home/.config" XDG_DATA_HOME="$home/.local/share" XDG_RUNTIME_DIR="$home/run"
        mkdir -p "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
        nimbla_with_private_keyring ctest --test-dir "$build" --output-on-failure -j2 --timeout 600 "$@"
    )
}

failed=()
echo "Qt 5.15: building and testing in $NIMBLA_ROOT/build/asan"
nimbla_test_suite "$NIMBLA_ROOT/build/asan" 5 || failed+=("Qt 5")
# The Windows vault test is cross-compiled Qt-free code run under Wine: the Qt version changes
# nothing in it, so it runs on Qt 5 only. The Chromium tests drive the library's own Qt code and
# run on both.
echo "Qt 6: building and testing in $NIMBLA_ROOT/build/qt6"
nimbla_test_suite "$NIMBLA_ROOT/build/qt6" 6 -E '^platform\.wincredentialvault$' || failed+=("Qt 6")

if [ ${#failed[@]} -gt 0 ]; then
    echo "The test suite failed on: ${failed[*]}" >&2
    exit 1
fi
