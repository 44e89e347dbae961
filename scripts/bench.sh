#!/usr/bin/env bash
# Builds the release tree and runs the benchmarks under Wine, writing one
# JSON file per benchmark program into build/release/bench-results/.
#   scripts/bench.sh                 every benchmark program
#   scripts/bench.sh list_bench      one program
#   scripts/bench.sh list_bench --benchmark_filter=Find   with its own flags
set -euo pipefail
source "$(dirname "$0")/common.sh"
marlok_setup
b="$root/build/release"
marlok_build "$b" -DMARLOK_TESTS=OFF
mkdir -p "$b/bench-results"
progs=()
if [ $# -gt 0 ] && [[ $1 != -* ]]; then progs=("$1"); shift; else
  for f in "$b"/bin/*_bench.exe; do progs+=("$(basename "$f" .exe)"); done
fi
rc=0
for p in "${progs[@]}"; do
  "$b/winerun.sh" "$b/bin/$p.exe" --benchmark_out="$b/bench-results/$p.json" \
    --benchmark_out_format=json "$@" || rc=$?
  echo "bench: results in build/release/bench-results/$p.json"
done
"$b/winesession.sh" stop
exit $rc
