# Shared by the set-up scripts: package installation and the build.
# Sourced, not run.

NIMBLA_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# The Qt major version that the examples and the benchmarks build with: 5 (Qt 5.15, the default)
# or 6, e.g. NIMBLA_QT_MAJOR=6 scripts/demo.sh. scripts/test.sh builds and tests both.
NIMBLA_QT_MAJOR=${NIMBLA_QT_MAJOR:-5}
case "$NIMBLA_QT_MAJOR" in
    5 | 6) ;;
    *) echo "NIMBLA_QT_MAJOR is $NIMBLA_QT_MAJOR: it must be 5 or 6" >&2; exit 2 ;;
esac

# Each Qt with what the library, the examples and the tests use of it: Linguist's tools for the
# translations, the QML modules of the launcher and of the QML types' test.
NIMBLA_QT5_PACKAGES=(qtbase5-dev qtdeclarative5-dev qttools5-dev qttools5-dev-tools
    qml-module-qtquick2 qml-module-qtquick-controls2 qml-module-qtquick-layouts qml-module-qtquick-window2)
NIMBLA_QT6_PACKAGES=(qt6-base-dev qt6-declarative-dev qt6-tools-dev qt6-tools-dev-tools qt6-l10n-tools
    qml6-module-qtqml qml6-module-qtqml-models qml6-module-qtqml-workerscript
    qml6-module-qtquick qml6-module-qtquick-controls qml6-module-qtquick-templates
    qml6-module-qtquick-layouts qml6-module-qtquick-window)
# The packages of the chosen Qt, and the ending of its build folders (build/release, build/release-qt6).
if [ "$NIMBLA_QT_MAJOR" = 6 ]; then
    NIMBLA_QT_PACKAGES=("${NIMBLA_QT6_PACKAGES[@]}")
    NIMBLA_QT_SUFFIX=-qt6
else
    NIMBLA_QT_PACKAGES=("${NIMBLA_QT5_PACKAGES[@]}")
    NIMBLA_QT_SUFFIX=
fi

# Everything the library, the emulator, the examples, the whole test suite, the API reference's
# check and the packages need on Debian 12, for both Qt versions.
NIMBLA_PACKAGES=(
    cmake ninja-build g++ pkg-config
    "${NIMBLA_QT5_PACKAGES[@]}" "${NIMBLA_QT6_PACKAGES[@]}"
    libpoco-dev libsecret-1-dev
    fonts-dejavu-core
    dbus gnome-keyring libsecret-tools libglib2.0-bin
    g++-mingw-w64-x86-64-posix wine wine64
    chromium
    doxygen
    dpkg-dev file lintian
)

nimbla_install_missing() {
    local missing=()
    local package
    for package in "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0

    echo "Installing: ${missing[*]}"
    local sudo=""
    [ "$(id -u)" -ne 0 ] && sudo="sudo"
    export DEBIAN_FRONTEND=noninteractive
    $sudo apt-get update -qq
    $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# nimbla_build <build folder> [cmake options...]
nimbla_build() {
    local folder=$1
    shift
    cmake -S "$NIMBLA_ROOT" -B "$folder" -G Ninja -Wno-dev "$@" >/dev/null || return
    # Only warnings and errors: the progress of every step would bury them.
    cmake --build "$folder" -- -j"$(nproc)" --quiet
}

# nimbla_with_private_keyring <command> [arguments...]
# Runs the command in a private D-Bus session with its own unlocked gnome-keyring, whose files go
# under XDG_DATA_HOME and XDG_RUNTIME_DIR. The bus daemon's warnings are kept out of the output
# unless the command's arguments include --verbose.
nimbla_with_private_keyring() {
    local daemon="$NIMBLA_ROOT/scripts/quiet-dbus-daemon"
    [[ " $* " == *" --verbose "* ]] && daemon=dbus-daemon
    dbus-run-session --dbus-daemon="$daemon" -- bash -c '
        set -e
        # The unlock password must not be empty, and the daemon must own its name
        # before the first client, or a second daemon finds the keyring locked.
        printf %s nimbla | gnome-keyring-daemon --unlock --components=secrets >/dev/null
        gdbus wait --session --timeout 10 org.freedesktop.secrets
        exec "$@"
    ' bash "$@"
}

# nimbla_with_launcher_keyring <folder> <command> [arguments...]
# Runs the command as a launcher runs: with the desktop's Secret Service when there is one, otherwise
# with a private keyring whose files stay in <folder> for the next run.
nimbla_with_launcher_keyring() {
    local folder=$1
    shift
    if [ -n "${DBUS_SESSION_BUS_ADDRESS:-}" ] &&
       gdbus introspect --session --dest org.freedesktop.secrets --object-path /org/freedesktop/secrets >/dev/null 2>&1; then
        "$@"
        return
    fi
    mkdir -p "$folder/data" "$folder/run"
    chmod 700 "$folder/run"
    (
        export XDG_DATA_HOME="$folder/data" XDG_RUNTIME_DIR="$folder/run"
        unset DBUS_SESSION_BUS_ADDRESS
        nimbla_with_private_keyring "$@"
    )
}

# nimbla_build_sanitized <build folder> <Qt major>
# The test suite's build: Debug, with AddressSanitizer and UndefinedBehaviorSanitizer.
nimbla_build_sanitized() {
    nimbla_build "$1" -DCMAKE_BUILD_TYPE=Debug -DNIMBLA_SANITIZE=ON -DNIMBLA_QT_MAJOR="$2"
}

# The Windows vault test is cross-compiled Qt-free code run under Wine: the Qt version changes
# nothing in it, so it runs on Qt 5 only. The Chromium tests drive the library's own Qt code and
# run on both.
NIMBLA_QT6_CTEST_OPTIONS=(-E '^platform\.wincredentialvault$')

# nimbla_ctest_in_private_home <build folder> [ctest options...]
# Runs the build's tests as CI does: any sanitizer report fails its test, a test that would skip for
# want of the environment fails instead, and the keyring, the settings and the Wine prefix live in a
# throw-away home, so that a run finds nothing an earlier one left.
nimbla_ctest_in_private_home() {
    local build=$1
    shift
    local home
    home=$(mktemp -d)
    (
        export ASAN_OPTIONS="abort_on_error=0:halt_on_error=1:detect_leaks=1:exitcode=23"
        export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
        export LSAN_OPTIONS="suppressions=$NIMBLA_ROOT/tests/lsan.supp:print_suppressions=0"
        export NIMBLA_REQUIRE_TEST_ENVIRONMENT=1
        unset DISPLAY WAYLAND_DISPLAY DBUS_SESSION_BUS_ADDRESS
        export HOME="$home"
        export XDG_CONFIG_HOME="$home/.config" XDG_DATA_HOME="$home/.local/share" XDG_RUNTIME_DIR="$home/run"
        mkdir -p "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
        nimbla_with_private_keyring ctest --test-dir "$build" --output-on-failure -j2 --timeout 600 "$@"
    )
    local status=$?
    rm -rf "$home"
    return $status
}

# nimbla_count_lines <path>...: the counted lines below the paths, the non-blank lines of the .cpp,
# .h and .qml files under git.
nimbla_count_lines() {
    git -C "$NIMBLA_ROOT" ls-files -z -- "$@" | grep -zE '\.(cpp|h|qml)$' |
        (cd "$NIMBLA_ROOT" && xargs -0 cat) | grep -cv '^[[:space:]]*$'
}

# nimbla_test_share: prints the test tree's share of the counted lines, and warns above 33%,
# the size that the project keeps its tests to.
nimbla_test_share() {
    local all tests permille
    all=$(nimbla_count_lines .)
    tests=$(nimbla_count_lines tests)
    permille=$((1000 * tests / all))
    echo "Test lines: $tests of $all counted lines ($((permille / 10)).$((permille % 10))%)."
    if [ $((100 * tests)) -gt $((33 * all)) ]; then
        echo "warning: the tests are more than 33% of the counted lines: see \"The test suite\" in the README." >&2
    fi
}
