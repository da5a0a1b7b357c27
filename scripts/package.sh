#!/usr/bin/env bash
# Builds the Debian packages with CPack, for Qt 5.15 (the default) or Qt 6, and checks them with
# lintian: any error fails the run. The packages go to build/package/debs (build/package-qt6/debs).
#   scripts/package.sh [5|6] [--test]
# --test then unpacks them into a temporary root, without installing them, and builds and runs a
# launcher against that root (tests/package/checkdebs.sh).
set -euo pipefail

test=false
for argument in "$@"; do
    case "$argument" in
        5 | 6) export NIMBLA_QT_MAJOR=$argument ;;
        --test) test=true ;;
        *) echo "usage: $0 [5|6] [--test]" >&2; exit 2 ;;
    esac
done
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

# file: CPack reads the binaries' types with it.
nimbla_install_missing cmake ninja-build g++ pkg-config "${NIMBLA_QT_PACKAGES[@]}" libpoco-dev libsecret-1-dev \
    dpkg-dev file lintian

# A Release build of what the packages hold: no tests, no benchmarks.
build="$NIMBLA_ROOT/build/package$NIMBLA_QT_SUFFIX"
nimbla_build "$build" -DCMAKE_BUILD_TYPE=Release -DNIMBLA_QT_MAJOR="$NIMBLA_QT_MAJOR" \
    -DNIMBLA_BUILD_TESTS=OFF -DNIMBLA_BUILD_BENCHMARKS=OFF \
    -DCMAKE_INSTALL_PREFIX=/usr -DNIMBLA_EMULATOR_INSTALLED_STANDINS=ON

debs="$build/debs"
rm -rf "$debs"
# A umask that would leave a file group-writable makes lintian's permission checks fail.
if ! (umask 022 && cd "$build" && cpack -G DEB -B "$debs" >"$build/cpack.log" 2>&1); then
    cat "$build/cpack.log" >&2
    exit 1
fi
rm -rf "$debs/_CPack_Packages"

lint_failed=false
for deb in "$debs"/*.deb; do
    echo "$(basename "$deb"): $(dpkg-deb -f "$deb" Package) $(dpkg-deb -f "$deb" Version)"
    # Warnings are shown; an error fails the run.
    report=$(lintian --tag-display-limit 0 "$deb" 2>&1 | grep -v '^running with root privileges' || true)
    [ -n "$report" ] && printf '%s\n' "$report" | sed 's/^/    /'
    grep -q '^E: ' <<<"$report" && lint_failed=true
done
if $lint_failed; then
    echo "lintian reports errors in the packages" >&2
    exit 1
fi

if $test; then
    "$NIMBLA_ROOT/tests/package/checkdebs.sh" "$debs" "$NIMBLA_QT_MAJOR"
fi
