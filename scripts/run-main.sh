#!/usr/bin/env bash
# Set up, build, and run the main job: the staff example, which calls the
# component object's methods on a new file-store database and prints each
# call, its answer and the statements it ran.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake --preset default >/dev/null
cmake --build --preset default
workdir=$(mktemp -d)
trap 'rm -rf "$workdir"' EXIT
build/default/examples/staff_example "$workdir"
