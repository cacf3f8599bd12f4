#!/usr/bin/env bash
# Set up, build, and run the main job: a short tour of the library through
# the zmdb command-line tool on the embedded file store.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake --preset default >/dev/null
cmake --build --preset default
exec scripts/tour.sh build/default/tools/zmdb/zmdb
