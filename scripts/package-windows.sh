#!/usr/bin/env bash
# Builds the program for 64-bit Windows, and of it an installer and a portable zip, and prints their paths.
#   scripts/package-windows.sh
# Qt for Windows is made first, if it is not there yet; see build-qt-windows.sh.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

ensure_packages "${windows_packages[@]}"
qt=$("$project_root/scripts/build-qt-windows.sh")
build windows CorvaneTVSondrix
cd "$project_root/build/windows"

name=CorvaneTVSondrix
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' CMakeCache.txt)
triplet=x86_64-w64-mingw32
rm -rf package
mkdir -p package
folder=$PWD/package/$name-$version
cmake --install . --prefix "$folder" --strip >&2

# copy_libraries FILE: those that it needs, and that they need, out of Qt's folder.
copy_libraries() {
    local library
    for library in $($triplet-objdump -p "$1" | sed -n 's/.*DLL Name: //p'); do
        if [ -e "$qt/bin/$library" ] && [ ! -e "$folder/$library" ]; then
            cp "$qt/bin/$library" "$folder/"
            copy_libraries "$folder/$library"
        fi
    done
}
copy_libraries "$folder/$name.exe"
# The platform, and the style of the widgets that the sheet leaves alone. All images are PNG, which Qt reads
# without a plugin.
for plugin in platforms/qwindows.dll styles/qwindowsvistastyle.dll; do
    install -D -m 644 "$qt/plugins/$plugin" "$folder/$plugin"
    copy_libraries "$folder/$plugin"
done

# The terms of what was copied: Qt is under the LGPL, the compiler's libraries under the GPL with an exception.
install -D -m 644 /usr/share/doc/libqt5core5a/copyright "$folder/doc/licences/Qt.txt"
install -m 644 /usr/share/doc/gcc-mingw-w64-x86-64-posix-runtime/copyright "$folder/doc/licences/compiler.txt"
install -m 644 /usr/share/common-licenses/LGPL-3 "$folder/doc/licences/LGPL-3.txt"
install -m 644 /usr/share/common-licenses/GPL-3 "$folder/doc/licences/GPL-3.txt"

# NSIS commands that remove each of these files, and then their folders.
(cd "$folder" && find . -type f -printf 'Delete "$INSTDIR\\%P"\n' | tr / '\\') >package/uninstall-files.nsh
(cd "$folder" && find . -mindepth 1 -depth -type d -printf 'RMDir "$INSTDIR\\%P"\n' | tr / '\\') \
    >package/uninstall-folders.nsh
makensis -V2 -WX -NOCD -DNAME="$name" -DVERSION="$version" -DFOLDER="$folder" \
    -DICON="$project_root/packaging/icons/$name.ico" -DUNINSTALL_FILES="$PWD/package/uninstall-files.nsh" \
    -DUNINSTALL_FOLDERS="$PWD/package/uninstall-folders.nsh" \
    -DOUTPUT="$PWD/package/$name-$version-setup.exe" "$project_root/packaging/windows/installer.nsi" >&2
(cd package && zip -q -r -9 -X "$name-$version-windows.zip" "$name-$version")
realpath "package/$name-$version-setup.exe" "package/$name-$version-windows.zip"
