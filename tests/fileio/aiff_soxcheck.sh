#!/usr/bin/env bash
# A second opinion on the AIFF rewrites: the Windows test leaves its
# rewritten sox files behind, and sox itself reads them.
#
# usage: aiff_soxcheck.sh WINERUN FILEIO_TESTS_EXE
set -uo pipefail

winerun=$1 exe=$2
dir=$(dirname "$exe")/aiff-rewritten
rm -rf "$dir"
LXTEST_AIFF_KEEP=1 "$winerun" "$exe" --gtest_filter='AiffRewrite.*' >/dev/null || {
    echo "the rewrite tests failed"; exit 1; }

fail=0
expect() {  # FILE WHAT WANTED GOT
    if [ "$3" != "$4" ]; then
        echo "$1: $2 is '$4', expected '$3'"
        fail=1
    fi
}
info() { soxi "-$2" "$dir/$1" 2>/dev/null; }
verbose() { sox -V3 "$dir/$1" -n 2>&1; }

for f in rate22050.aiff loops.aiff aifc11025.aifc; do
    [ -f "$dir/$f" ] || { echo "$f was not written"; exit 1; }
done

expect rate22050.aiff rate 22050 "$(info rate22050.aiff r)"
expect rate22050.aiff channels 2 "$(info rate22050.aiff c)"
expect rate22050.aiff bits 16 "$(info rate22050.aiff b)"
expect rate22050.aiff samples 463 "$(info rate22050.aiff s)"

expect loops.aiff rate 48000 "$(info loops.aiff r)"
expect loops.aiff samples 493 "$(info loops.aiff s)"
out=$(verbose loops.aiff)
expect loops.aiff "loop start" 20 "$(sed -n 's/.*Loop 0: start: *\([0-9]*\).*/\1/p' <<<"$out")"
expect loops.aiff "loop end" 400 "$(sed -n 's/.* end: *\([0-9]*\).*/\1/p' <<<"$out" | head -1)"
expect loops.aiff "unity note" 60 "$(sed -n 's/.*Unity MIDI Note: *\([0-9]*\).*/\1/p' <<<"$out")"
expect loops.aiff "high note" 127 "$(sed -n 's/.*High  MIDI Note: *\([0-9]*\).*/\1/p' <<<"$out")"

expect aifc11025.aifc rate 11025 "$(info aifc11025.aifc r)"
expect aifc11025.aifc samples 92 "$(info aifc11025.aifc s)"
expect aifc11025.aifc encoding "Signed Integer PCM" "$(info aifc11025.aifc e)"

exit $fail
