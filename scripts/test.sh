#!/usr/bin/env bash
# Installs what is missing and builds and runs the whole test suite twice, both times with
# AddressSanitizer and UndefinedBehaviorSanitizer: on Qt 5.15 (the default, build/asan), then on
# Qt 6 (build/qt6). Each run is inside a private D-Bus session with its own keyring. First, the API
# reference's short run: an undocumented public member or any other Doxygen warning fails it. Last,
# the Debian packages of Qt 5.15, which a launcher is built against (scripts/package.sh --test).
# A failure on either Qt fails the whole run; the second still runs after a failed first.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

nimbla_install_missing "${NIMBLA_PACKAGES[@]}"

# nimbla_test_suite <build folder> <Qt major> [ctest options...]
nimbla_test_suite() {
    local build=$1 major=$2
    shift 2
    nimbla_build_sanitized "$build" "$major" || return
    nimbla_ctest_in_private_home "$build" "$@"
}

failed=()
echo "API reference: every installed header documented, without a Doxygen warning"
"$NIMBLA_ROOT/scripts/docs.sh" --check || failed+=("the API reference")
echo "Qt 5.15: building and testing in $NIMBLA_ROOT/build/asan"
nimbla_test_suite "$NIMBLA_ROOT/build/asan" 5 || failed+=("Qt 5")
echo "Qt 6: building and testing in $NIMBLA_ROOT/build/qt6"
nimbla_test_suite "$NIMBLA_ROOT/build/qt6" 6 "${NIMBLA_QT6_CTEST_OPTIONS[@]}" || failed+=("Qt 6")
echo "Debian packages: building them on Qt 5.15, linting them, and building a launcher against them"
"$NIMBLA_ROOT/scripts/package.sh" 5 --test || failed+=("the packages")

nimbla_test_share

if [ ${#failed[@]} -gt 0 ]; then
    echo "The test suite failed on: ${failed[*]}" >&2
    exit 1
fi
