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

# Everything the library, the emulator, the examples and the whole test suite need on Debian 12,
# for both Qt versions.
NIMBLA_PACKAGES=(
    cmake ninja-build g++ pkg-config
    "${NIMBLA_QT5_PACKAGES[@]}" "${NIMBLA_QT6_PACKAGES[@]}"
    libpoco-dev libsecret-1-dev
    fonts-dejavu-core
    dbus gnome-keyring libsecret-tools libglib2.0-bin
    g++-mingw-w64-x86-64-posix wine wine64
    chromium
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
# under XDG_DATA_HOME and XDG_RUNTIME_DIR.
nimbla_with_private_keyring() {
    dbus-run-session -- bash -c '
        set -e
        # The unlock password must not be empty, and the daemon must own its name
        # before the first client, or a second daemon finds the keyring locked.
        printf %s nimbla | gnome-keyring-daemon --unlock --components=secrets >/dev/null
        gdbus wait --session --timeout 10 org.freedesktop.secrets
        exec "$@"
    ' bash "$@"
}
