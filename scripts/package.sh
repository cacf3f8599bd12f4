#!/usr/bin/env bash
# Build the Debian packages (libzmdbfunc0, libzmdbfunc-dev, zmdb-tools, and
# python3-zmdbfunc when the tree has the Python module) into build/package.
#   scripts/package.sh            JOBS=4 scripts/package.sh
# The build is RelWithDebInfo like the default preset (-O2 -g, so a compiler
# cache shares its objects); CPack strips the installed files.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$root/build/package

command -v dpkg-shlibdeps >/dev/null || {
  echo "package: dpkg-shlibdeps is missing (apt-get install dpkg-dev)" >&2
  exit 1
}

cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_INSTALL_PREFIX=/usr -DZMDB_BUILD_TESTS=OFF -DZMDB_BUILD_BENCH=OFF >/dev/null
cmake --build "$build" -j "${JOBS:-2}"
rm -f "$build"/*.deb
(cd "$build" && cpack -G DEB)
ls -1 "$build"/*.deb
