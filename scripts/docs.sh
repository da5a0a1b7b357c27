#!/usr/bin/env bash
# Builds the API reference of the installed headers with Doxygen, into build/docs/html
# (open build/docs/html/index.html). Any Doxygen warning fails the run, and an undocumented
# public class, member, property, signal or slot is one.
#   scripts/docs.sh --check   the same run without the HTML, as scripts/test.sh runs it
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

check=false
case "${1:-}" in
    "") ;;
    --check) check=true ;;
    *) echo "usage: $0 [--check]" >&2; exit 2 ;;
esac

# Configuring is enough to learn the installed headers; nothing is compiled.
nimbla_install_missing cmake ninja-build g++ pkg-config "${NIMBLA_QT_PACKAGES[@]}" libpoco-dev libsecret-1-dev doxygen

build="$NIMBLA_ROOT/build/docs"
cmake -S "$NIMBLA_ROOT" -B "$build" -G Ninja -Wno-dev -DNIMBLA_QT_MAJOR="$NIMBLA_QT_MAJOR" \
    -DNIMBLA_BUILD_TESTS=OFF -DNIMBLA_BUILD_EXAMPLES=OFF -DNIMBLA_BUILD_EMULATOR=OFF -DNIMBLA_BUILD_BENCHMARKS=OFF \
    >/dev/null
# Doxygen reads the headers under the names a launcher includes, <NimblaSDK/Auth/...>, through links to
# their sources: its warnings name the links, and an edit through one changes the source.
tree="$build/api"
rm -rf "$tree"
headers=()
while IFS='=' read -r name source; do
    mkdir -p "$(dirname "$tree/$name")"
    ln -s "$source" "$tree/$name"
    headers+=("$tree/$name")
done <"$build/nimbla-public-headers.txt"
version=$(sed -n 's/^project(NimblaAuth VERSION \([0-9.]*\).*/\1/p' "$NIMBLA_ROOT/CMakeLists.txt")

if $check; then
    # XML instead of HTML: Doxygen reports the comments' own mistakes only while it writes an output.
    output=$(mktemp -d)
    trap 'rm -rf "$output"' EXIT
    outputs=("GENERATE_XML = YES")
else
    output="$build"
    rm -rf "$output/html"
    outputs=("GENERATE_HTML = YES")
fi

cd "$NIMBLA_ROOT/docs"
{
    cat Doxyfile
    echo "PROJECT_NUMBER = $version"
    echo "INPUT = $NIMBLA_ROOT/docs/mainpage.md ${headers[*]}"
    echo "USE_MDFILE_AS_MAINPAGE = $NIMBLA_ROOT/docs/mainpage.md"
    echo "STRIP_FROM_PATH = $tree"
    echo "STRIP_FROM_INC_PATH = $tree"
    echo "OUTPUT_DIRECTORY = $output"
    printf '%s\n' "${outputs[@]}"
} | doxygen - || {
    echo "Doxygen reported the warnings above: the API reference is incomplete" >&2
    exit 1
}
if ! $check; then
    echo "The API reference: $build/html/index.html"
fi
