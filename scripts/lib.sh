# Shared by the set-up scripts: package installation and the build.
# Sourced, not run.

NIMBLA_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# Everything the library, the emulator, the examples and the whole test suite need on Debian 12.
NIMBLA_PACKAGES=(
    cmake ninja-build g++ pkg-config
    qtbase5-dev qtdeclarative5-dev libpoco-dev libsecret-1-dev qttools5-dev qttools5-dev-tools
    qml-module-qtquick2 qml-module-qtquick-controls2 qml-module-qtquick-layouts qml-module-qtquick-window2
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
    cmake -S "$NIMBLA_ROOT" -B "$folder" -G Ninja -Wno-dev "$@" >/dev/null
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
