#!/usr/bin/env bash
# Pictures of the Qt demo for the README. Builds the demo, starts it under a
# virtual X server on a fresh sample database, opens the export and saves
# PNG pictures under docs/: the main window (qt_demo_main.png), the first
# dialog of the export (qt_demo_export.png: the export-type dialog, answered
# with its default) and the file dialog that follows (qt_demo_export_file.png,
# cancelled). Installs the X server and a font with Chinese glyphs when missing.
#
#   scripts/screenshot.sh [preset]      (default preset: default)
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
preset=${1:-default}

"$root/scripts/setup.sh" xvfb xauth fonts-wqy-microhei

cd "$root"
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" --target zmdb_qt_demo
demo="$root/build/$preset/examples/zmdb_qt_demo"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
rm -f docs/qt_demo_*.png
# The demo saves the pictures itself (QWidget::grab) and quits when done.
# From the sample's folder, so the file dialog opens there.
(cd "$work" && XDG_RUNTIME_DIR="$work" xvfb-run -a -s "-screen 0 1280x800x24" \
  env QT_QPA_PLATFORM=xcb timeout 120 "$demo" "$work/sample.mdb" --grab "$root/docs")
ls -l docs/qt_demo_*.png
