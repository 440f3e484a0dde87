# Shared by the scripts beside it, which source it. What it says goes to standard error.

project_root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

build_packages=(g++ cmake ninja-build qtbase5-dev)
test_packages=(iproute2 util-linux python3 python3-zeroconf avahi-daemon minidlna gmediarender gstreamer1.0-plugins-base shairport-sync ffmpeg
    dbus-daemon dbus-bin xvfb xdotool fonts-dejavu-core python3-jsonschema desktop-file-utils appstream man-db groff
    bash-completion zsh fish lintian dpkg-dev jq sqlite3 postgresql openssh-server openssh-client systemd)

windows_packages=(g++-mingw-w64-x86-64-posix g++ cmake ninja-build qtbase5-dev wine64 fonts-wine xvfb nsis zip python3-pefile)
# Qt for Windows, made once by build-qt-windows.sh; the toolchain file reads the variable too.
export SONDRIX_QT_WINDOWS=${SONDRIX_QT_WINDOWS:-${XDG_CACHE_HOME:-$HOME/.cache}/sondrix/qt-windows}

say() { echo "$*" >&2; }

fail() {
    say "$*"
    exit 1
}

as_root() {
    if [ "$(id -u)" = 0 ]; then
        "$@"
    else
        sudo "$@"
    fi
}

missing_packages() {
    local package
    for package in "$@"; do
        dpkg-query -W -f '${Status}\n' "$package" 2>/dev/null | grep -q 'ok installed' || echo "$package"
    done
}

# keep_from_starting SERVICE: at the next start of the machine.
keep_from_starting() {
    if command -v systemctl >/dev/null; then
        as_root systemctl disable "$1" >/dev/null 2>&1 || true
    fi
}

# Installs the packages that are missing. Servers among them are for private networks of the tests,
# so the package manager is kept from starting them on this machine.
ensure_packages() {
    command -v dpkg-query >/dev/null ||
        fail "This script installs packages on Debian and Ubuntu. Elsewhere install the counterparts of: $*"
    local missing
    mapfile -t missing < <(missing_packages "$@")
    [ ${#missing[@]} -gt 0 ] || return 0
    say "Installing: ${missing[*]}"

    local policy=/usr/sbin/policy-rc.d wrote_policy=no status=0
    if [ ! -e "$policy" ]; then
        printf '#!/bin/sh\nexit 101\n' | as_root tee "$policy" >/dev/null
        as_root chmod 755 "$policy"
        wrote_policy=yes
    fi
    {
        as_root apt-get update -q &&
            as_root env DEBIAN_FRONTEND=noninteractive \
                apt-get install -q -y --no-install-recommends "${missing[@]}"
    } >&2 || status=$?
    [ "$wrote_policy" = no ] || as_root rm -f "$policy"

    local package
    for package in "${missing[@]}"; do
        case $package in
        avahi-daemon | minidlna | gmediarender | shairport-sync | postgresql) keep_from_starting "$package" ;;
        openssh-server) keep_from_starting ssh ;;
        esac
    done
    [ "$status" = 0 ] || fail "The packages could not be installed."
}

# build PRESET [TARGET...]: configures and builds what changed.
build() {
    local preset=$1
    shift
    cd "$project_root"
    cmake --preset "$preset" >&2
    cmake --build --preset "$preset" ${1:+--target "$@"} >&2
}
