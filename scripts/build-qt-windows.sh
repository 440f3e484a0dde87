#!/usr/bin/env bash
# Builds Qt 5.15 (Core, Network, Gui, Widgets and Test) for 64-bit Windows from the distribution's own
# source package, with MinGW-w64, and prints where it is.
#   scripts/build-qt-windows.sh
# It is made once, in up to half an hour on two cores, and found there afterwards. SONDRIX_QT_WINDOWS names
# another place than ~/.cache/sondrix/qt-windows.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

prefix=$SONDRIX_QT_WINDOWS
triplet=x86_64-w64-mingw32
if [ -e "$prefix/.complete" ]; then
    echo "$prefix"
    exit 0
fi

ensure_packages "${windows_packages[@]}" make perl python3 dpkg-dev xz-utils

work=$prefix.work
mkdir -p "$work"

# fetch_source: unpacks the source package under the work folder. Where the machine's sources of packages
# name no source packages, a list of their own is made of them, for this script alone.
fetch_source() {
    local lists=$work/lists sources=$work/sources.list.d
    mkdir -p "$lists/partial" "$sources"
    sed 's/^Types:.*/Types: deb-src/' /etc/apt/sources.list.d/*.sources >"$sources/source.sources" 2>/dev/null || true
    sed -n 's/^deb /deb-src /p' /etc/apt/sources.list >"$sources/source.list" 2>/dev/null || true
    local options=(-o "Dir::Etc::sourcelist=/dev/null" -o "Dir::Etc::sourceparts=$sources" -o "Dir::State::lists=$lists")
    apt-get "${options[@]}" update -q
    rm -rf "$work"/qtbase-opensource-src*
    (cd "$work" && apt-get "${options[@]}" source -q qtbase-opensource-src)
    touch "$work/.fetched"
}

{
    [ -e "$work/.fetched" ] || fetch_source
    source=$(find "$work" -maxdepth 1 -type d -name 'qtbase-opensource-src-5.15*')
    [ -n "$source" ] || fail "The distribution's Qt is not 5.15."
    # The import libraries of MinGW-w64 have lower-case names, and here the case of a file name counts.
    sed -i 's/-lSecur32/-lsecur32/g; s/-lCrypt32/-lcrypt32/g' "$source/src/network/ssl/ssl.pri"

    build=$work/build
    # A second configure in one folder makes everything be built anew.
    if [ ! -e "$build/.configured" ]; then
        say "Configuring Qt"
        rm -rf "$build"
        mkdir -p "$build"
        # What the program does not use is left out. The source package of Debian lacks what tablets and
        # SQL need.
        (cd "$build" && MAKEFLAGS=-j$(nproc) "$source/configure" -opensource -confirm-license -silent -release -shared \
            -xplatform win32-g++ -device-option "CROSS_COMPILE=$triplet-" -prefix "$prefix" \
            -nomake examples -nomake tests -no-compile-examples \
            -no-opengl -no-direct2d -no-feature-vulkan -no-feature-tabletevent -no-feature-sql -no-feature-xml \
            -no-feature-concurrent -no-feature-printer -no-dbus -no-icu -no-openssl -schannel \
            -qt-zlib -qt-libpng -qt-libjpeg -qt-freetype -qt-harfbuzz -qt-pcre -qt-doubleconversion) \
            >"$work/configure.log" 2>&1 || { tail -n 40 "$work/configure.log"; fail "Qt could not be configured."; }
        touch "$build/.configured"
    fi
    say "Building Qt, which takes some minutes"
    make -C "$build" "-j$(nproc)" >"$work/make.log" 2>&1 || {
        grep -nE 'error:|cannot find|undefined reference|\*\*\*' "$work/make.log" | head -n 40
        fail "Qt could not be built; see $work/make.log"
    }
    make -C "$build" install >"$work/install.log" 2>&1 || fail "Qt could not be installed; see $work/install.log"

    # What the compiler adds to every program and DLL.
    for library in libgcc_s_seh-1.dll libstdc++-6.dll libwinpthread-1.dll; do
        found=$($triplet-g++-posix -print-file-name="$library")
        [ -e "$found" ] || found=/usr/$triplet/lib/$library
        $triplet-strip --strip-unneeded -o "$prefix/bin/$library" "$found"
    done
    touch "$prefix/.complete"
    rm -rf "$work"
} >&2
echo "$prefix"
