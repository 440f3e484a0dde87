#!/usr/bin/env bash
# Builds the Debian package, looks at it with lintian and prints its path.
#   scripts/package-linux.sh
# To install it: apt install ./build/package-linux/corvanetvsondrix_<version>_<architecture>.deb
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

ensure_packages "${build_packages[@]}" dpkg-dev lintian
build package-linux
cd "$project_root/build/package-linux"
rm -f ./*.deb
cpack -G DEB >&2
lintian --fail-on error,warning ./*.deb >&2
realpath ./*.deb
