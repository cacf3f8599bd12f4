#!/usr/bin/env bash
# Install the Debian packages the build and the tests need, when missing.
# Safe to run again: it installs only what is not there yet. Given package
# names, it installs those instead (scripts use it for what they need).
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config
  libgtest-dev libgmock-dev libbenchmark-dev
  libfmt-dev nlohmann-json3-dev libcli11-dev
  libsqlite3-dev unixodbc-dev
  # Page encryption of file databases (AES-GCM, PBKDF2) from libcrypto.
  libssl-dev
  # Server stores: the ODBC driver manager and the drivers the tests load
  # (FreeTDS for SQL Server, psqlODBC, the SQLite ODBC driver), and a
  # PostgreSQL the tests start and stop themselves.
  unixodbc odbcinst tdsodbc odbc-postgresql libsqliteodbc postgresql
  # Spreadsheet writers (compound files, Office Open XML) and the readers
  # their tests check them with.
  libgsf-1-dev libxlsxwriter-dev python3-xlrd python3-openpyxl
  # The Python module's tests, and the readers' scripts.
  python3
  # The independent readers the dBase and FoxPro writer's tests check against.
  python3-dbfread shapelib
  # scripts/package.sh: dpkg-shlibdeps for the packages' dependencies.
  dpkg-dev
  # The Paradox writer's tests read its tables back with pxlib.
  pxlib-dev
  # A spreadsheet program run headless to convert exported tables to CSV
  # (tests), and the peer the export benchmark measures against.
  gnumeric gdal-bin
  # The Qt Widgets host and the demo program (optional target, built when found).
  qt6-base-dev
  # The fuzz preset: clang with libFuzzer and the sanitizer run times.
  clang-14 libclang-rt-14-dev
)
if (($#)); then packages=("$@"); fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if ((${#missing[@]})); then
  echo "setup: installing ${missing[*]}"
  sudo_cmd=()
  if [ "$(id -u)" != 0 ]; then sudo_cmd=(sudo); fi
  "${sudo_cmd[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
