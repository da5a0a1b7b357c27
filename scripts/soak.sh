#!/usr/bin/env bash
# Looks for the failures that show once in dozens of runs, with a CPU hog on both cores, as on a
# machine that CI shares with other builds. Not part of CI: it takes long.
#
#   scripts/soak.sh [--runs N]          nimbla-auth's password sign-in N times (default 200) with the
#                                       right and N times with a wrong password, each under a private
#                                       keyring; counts every exit that is not the expected 0 or 1. Then
#                                       the fault matrix, N/20 times.
#   scripts/soak.sh --suite [--runs N]  the whole test suite N times (default 5) on Qt 5 and on Qt 6,
#                                       built as scripts/test.sh builds it; lists each test that failed
#                                       at least once.
#
# Exits 0 when nothing failed. The logs of failed runs stay in build/soak/.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

suite=false
runs=""
while [ $# -gt 0 ]; do
    case "$1" in
        --suite) suite=true ;;
        --runs) runs=$2; shift ;;
        *) echo "usage: scripts/soak.sh [--suite] [--runs N]" >&2; exit 2 ;;
    esac
    shift
done

nimbla_install_missing "${NIMBLA_PACKAGES[@]}" stress-ng
logs="$NIMBLA_ROOT/build/soak"
rm -rf "$logs"
mkdir -p "$logs"

# Both cores busy for as long as the soak runs.
stress-ng --cpu "$(nproc)" --timeout 0 >/dev/null 2>&1 &
hog=$!
trap 'kill $hog 2>/dev/null || true' EXIT

soak_suite() {
    local runs=${runs:-5}
    declare -A failures=()
    local major build run test
    for major in 5 6; do
        build="$NIMBLA_ROOT/build/asan"
        options=()
        if [ "$major" = 6 ]; then
            build="$NIMBLA_ROOT/build/qt6"
            options=("${NIMBLA_QT6_CTEST_OPTIONS[@]}")
        fi
        nimbla_build_sanitized "$build" "$major"
        for run in $(seq 1 "$runs"); do
            local log="$logs/qt$major-run$run.log"
            if nimbla_ctest_in_private_home "$build" "${options[@]}" >"$log" 2>&1; then
                rm "$log"
                echo "Qt $major, run $run of $runs: passed"
                continue
            fi
            echo "Qt $major, run $run of $runs: failed (see $log)"
            for test in $(sed -n 's/^[[:space:]]*[0-9]* - \([^ ]*\) (.*)$/\1/p' "$log"); do
                failures["Qt $major: $test"]=$(( ${failures["Qt $major: $test"]:-0} + 1 ))
            done
        done
    done
    if [ ${#failures[@]} -eq 0 ]; then
        echo "No test failed in $runs runs on each Qt."
        return 0
    fi
    echo "Tests that failed at least once in $runs runs:"
    for test in "${!failures[@]}"; do
        echo "  $test: ${failures[$test]} time(s)"
    done | sort
    return 1
}

soak_client() {
    local runs=${runs:-200}
    local build="$NIMBLA_ROOT/build/release"
    nimbla_build "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DNIMBLA_BUILD_TESTS=OFF
    local client=("$build/examples/cli/nimbla-auth" login --method password --login alice@example.com
                  --password-stdin --emulator "$build/emulator/nimbla-login-emulator")
    local failed=0 crashed=0
    local scenario name password expected run status
    for scenario in right:alice-password:0 wrong:not-her-password:1; do
        IFS=: read -r name password expected <<<"$scenario"
        local unexpected=0
        for run in $(seq 1 "$runs"); do
            local home
            home=$(mktemp -d)
            mkdir -p "$home/run" && chmod 700 "$home/run"
            status=0
            (
                export HOME="$home" XDG_DATA_HOME="$home/data" XDG_RUNTIME_DIR="$home/run"
                unset DBUS_SESSION_BUS_ADDRESS
                printf '%s\n' "$password" | nimbla_with_private_keyring "${client[@]}"
            ) >"$logs/client.log" 2>&1 || status=$?
            rm -rf "$home"
            if [ "$status" != "$expected" ]; then
                unexpected=$((unexpected + 1))
                cp "$logs/client.log" "$logs/client-$name-run$run-exit$status.log"
                [ "$status" != 0 ] && [ "$status" != 1 ] && crashed=$((crashed + 1))
            fi
        done
        echo "The $name password: $unexpected of $runs runs did not exit with $expected"
        failed=$((failed + unexpected))
    done
    rm -f "$logs/client.log"
    echo "Exits other than 0 or 1: $crashed"

    local matrixRuns=$(( (runs + 19) / 20 ))
    local matrixFailed=0
    nimbla_build_sanitized "$NIMBLA_ROOT/build/asan" 5
    for run in $(seq 1 "$matrixRuns"); do
        if ! nimbla_ctest_in_private_home "$NIMBLA_ROOT/build/asan" -R '^faults\.' \
                >"$logs/faultmatrix-run$run.log" 2>&1; then
            matrixFailed=$((matrixFailed + 1))
        else
            rm "$logs/faultmatrix-run$run.log"
        fi
    done
    echo "The fault matrix: $matrixFailed of $matrixRuns runs failed"
    [ "$failed" = 0 ] && [ "$matrixFailed" = 0 ]
}

if $suite; then
    soak_suite
else
    soak_client
fi
