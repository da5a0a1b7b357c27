#!/usr/bin/env bash
# Measures the test suite's strength: applies the seeded faults of scripts/mutants.txt one at a
# time to a copy of the tree, rebuilds what the fault touches, runs the tests of its area, and
# prints whether they caught it ("killed", with the failed tests) or not ("survived"), then the
# share caught.
#
#   scripts/mutants.sh [--area <area>] [--from <number>] [--only <number>,...]
#   scripts/mutants.sh --check    only lists the faults that no longer apply; builds nothing
#
# The copy and its build are under build/mutants; the work tree is never modified, so the script
# can run while you edit. It takes the uncommitted changes too. A fault whose text is no longer
# in its file is reported as "stale", one that does not compile as "broken"; neither counts in
# the score. Not part of CI: a full run takes about an hour and a half on two cores.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

only_area=""
from=1
check=""
only=""
while [ $# -gt 0 ]; do
    case "$1" in
        --area) only_area=$2; shift 2 ;;
        --from) from=$2; shift 2 ;;
        --only) only=",$2,"; shift 2 ;;
        --check) check=1; shift ;;
        *) echo "usage: $0 [--area <area>] [--from <number>] [--only <number>,...] | --check" >&2; exit 2 ;;
    esac
done

faults_file="$NIMBLA_ROOT/scripts/mutants.txt"
work="$NIMBLA_ROOT/build/mutants"
src="$work/src"
build="$work/build"
log="$work/log"
mkdir -p "$src" "$log"

declare -A area_tests
while read -r keyword area pattern; do
    [ "$keyword" = area ] && area_tests[$area]=$pattern
done <"$faults_file"

# for_each_fault <function>: calls the function for every fault of the list, with the fault in
# $number, $area, $file, $description, $old (the text it replaces) and $new.
for_each_fault() {
    local handler=$1 line has_old has_new
    number=0 area="" file="" description="" old="" new="" has_old="" has_new=""
    while IFS= read -r line || [ -n "$line" ]; do
        case "$line" in
            '#'* | 'area '*) ;;
            '- '* | '-') old+="${has_old:+$'\n'}${line:2}"; has_old=1 ;;
            '+ '* | '+') new+="${has_new:+$'\n'}${line:2}"; has_new=1 ;;
            '')
                if [ -n "$area" ]; then
                    number=$((number + 1))
                    "$handler"
                fi
                area="" file="" description="" old="" new="" has_old="" has_new="" ;;
            *) read -r area file description <<<"$line" ;;
        esac
    done <"$faults_file"
    if [ -n "$area" ]; then
        number=$((number + 1))
        "$handler"
    fi
}

# apply_fault <file>: puts the fault into the file, or fails if its text is not there exactly once.
apply_fault() {
    FROM="$old" TO="$new" perl -0777 -i -ne '
        my $count = () = /\Q$ENV{FROM}\E/g;
        die "found $count times\n" unless $count == 1;
        s/\Q$ENV{FROM}\E/$ENV{TO}/; print' "$1" 2>"$log/stale.txt"
}

check_fault() {
    if [ -z "${area_tests[$area]:-}" ]; then
        echo "$number: unknown area $area"
    elif ! cp "$NIMBLA_ROOT/$file" "$log/check.tmp" 2>/dev/null; then
        echo "$number: no file $file"
    elif ! apply_fault "$log/check.tmp"; then
        echo "$number: $file ($description): $(cat "$log/stale.txt")"
    fi
}

if [ -n "$check" ]; then
    for_each_fault check_fault
    echo "Checked $number faults."
    exit 0
fi

nimbla_install_missing "${NIMBLA_PACKAGES[@]}"

# Only the files that differ are copied, and they get the time of the copy: the build then
# recompiles what changed since the last run, a fault left in an object by a stopped run included.
echo "Copying the tree to $src"
(cd "$NIMBLA_ROOT" && git ls-files -z --cached --others --exclude-standard) |
    while IFS= read -r -d '' path; do
        if ! cmp -s "$NIMBLA_ROOT/$path" "$src/$path"; then
            mkdir -p "$(dirname "$src/$path")"
            cp "$NIMBLA_ROOT/$path" "$src/$path"
        fi
    done

# Unoptimised, without debug information, and without relinking a test when only the shared
# library changed: a fault costs one compilation and a few links.
cmake -S "$src" -B "$build" -G Ninja -Wno-dev -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_FLAGS=-O0 \
    -DCMAKE_LINK_DEPENDS_NO_SHARED=ON -DNIMBLA_BUILD_BENCHMARKS=OFF >/dev/null

# area_targets <area>: the executables of the area's tests; they bring the emulator, the client
# and the stand-in libraries that they need. Read from CTest's files: CTest itself names an
# executable only once it is built.
area_targets() {
    cat "$build"/tests/*/CTestTestfile.cmake | sed -n 's/^add_test(\([^ ]*\) ".*\/\(tst_[a-z]*\)".*/\1 \2/p' |
        PATTERN="${area_tests[$1]}" awk '$1 ~ ENVIRON["PATTERN"] { print $2 }' | sort -u
}

# run_area <area> <log file>: builds and runs the area's tests; prints the names of those that
# failed, or "!build".
run_area() {
    local targets
    targets=$(area_targets "$1")
    # shellcheck disable=SC2086 # one target a word
    if ! cmake --build "$build" --target $targets -- -j"$(nproc)" >"$2" 2>&1; then
        echo "!build"
        return
    fi
    rm -f "$build/Testing/Temporary/LastTestsFailed.log"
    nimbla_ctest_in_private_home "$build" -R "${area_tests[$1]}" --timeout 300 >>"$2" 2>&1 || true
    # CTest writes the file only when a test failed.
    if [ -f "$build/Testing/Temporary/LastTestsFailed.log" ]; then
        sed -n 's/^[0-9]*:\(.*\)$/\1/p' "$build/Testing/Temporary/LastTestsFailed.log" | paste -sd, -
    fi
}

# The areas must pass as they stand, or a failure would be taken for a caught fault.
echo "Building the tree as it stands and running the tests of each area"
for area in "${!area_tests[@]}"; do
    [ -n "$only_area" ] && [ "$area" != "$only_area" ] && continue
    failed=$(run_area "$area" "$log/baseline-$area.log")
    if [ -n "$failed" ]; then
        echo "The tests of $area fail without a fault ($failed): see $log/baseline-$area.log" >&2
        exit 1
    fi
done

killed=0 survived=0 skipped=0
report() {
    printf '%-3s %-9s %-10s %-44s %s%s\n' "$number" "$1" "$area" "$file" "$description" "$2"
}

try_fault() {
    [ "$number" -lt "$from" ] && return
    [ -n "$only_area" ] && [ "$area" != "$only_area" ] && return
    [ -n "$only" ] && [[ "$only" != *",$number,"* ]] && return
    local target="$src/$file" saved="$work/original" failed
    cp "$target" "$saved"
    if ! apply_fault "$target"; then
        cat "$saved" >"$target"
        report stale " ($(cat "$log/stale.txt"))"
        skipped=$((skipped + 1))
        return
    fi
    failed=$(run_area "$area" "$log/fault-$number.log")
    # Written back, not moved: the restored file must be newer than the faulty object.
    cat "$saved" >"$target"
    case "$failed" in
        '!build') report broken " (see $log/fault-$number.log)"; skipped=$((skipped + 1)) ;;
        '') report survived ""; survived=$((survived + 1)) ;;
        *) report killed " [by $failed]"; killed=$((killed + 1)) ;;
    esac
}

for_each_fault try_fault

total=$((killed + survived))
echo
echo "Killed $killed of $total seeded faults ($((total ? 100 * killed / total : 0))%); $skipped stale or broken."
