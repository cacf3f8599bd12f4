#!/usr/bin/env bash
# Run one fuzz target for a while:  scripts/fuzz.sh TARGET SECONDS [libFuzzer options...]
#   TARGET: translator jet_rewriter filter connection_string backup_file
#           form_text session_request (one file each under fuzz/)
# Builds the `fuzz` preset (clang, libFuzzer, ASan+UBSan) when needed, starts
# from the seed corpus fuzz/corpus/TARGET and the corpus earlier runs grew
# (build/fuzz/corpus/TARGET, not committed), uses fuzz/dict/TARGET.dict when
# there is one, and saves an input that fails (crash, failed check, timeout,
# memory limit) under fuzz/regressions/TARGET/, where the replay test of the
# ordinary builds picks it up. Runs at the lowest priority, on one core. An
# input counts as a hang after 20 s: the slowest known inputs (statements the
# translator's growth bound refuses after thousands of passes) take under half
# a second under instrumentation.
set -euo pipefail
cd "$(dirname "$0")/.."
if [[ $# -lt 2 ]]; then
  echo "usage: scripts/fuzz.sh TARGET SECONDS [libFuzzer options...]" >&2
  exit 2
fi
target=$1
seconds=$2
shift 2
if [[ ! -f fuzz/$target.cpp ]]; then
  echo "no fuzz target '$target' (fuzz/$target.cpp)" >&2
  exit 2
fi

[[ -f build/fuzz/build.ninja ]] || cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target "fuzz_$target" >/dev/null

grown=build/fuzz/corpus/$target
regressions=fuzz/regressions/$target
mkdir -p "$grown" "$regressions"
options=(-max_total_time="$seconds" -timeout=20 -rss_limit_mb=2048 -print_final_stats=1
  -artifact_prefix="$regressions/")
[[ -f fuzz/dict/$target.dict ]] && options+=(-dict="fuzz/dict/$target.dict")

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
exec nice -n 19 "build/fuzz/fuzz/fuzz_$target" "${options[@]}" "$@" "$grown" "fuzz/corpus/$target"
