#!/usr/bin/env bash
# sox's reading of the WAVE and Wave64 files that wave_dlltest.cpp leaves in
# DIRECTORY: channels, rate, bits and frames as its expected.txt lists them,
# and for integer files the decoded samples byte for byte against NAME.raw.
#
# usage: wave_soxcheck.sh DIRECTORY
set -u
dir=${1:?usage: $0 DIRECTORY}
[ -s "$dir/expected.txt" ] || { echo "no expected.txt in $dir"; exit 1; }
command -v soxi >/dev/null || { echo "soxi not found"; exit 1; }

status=0
files=0
integers=0
while read -r name channels rate bits frames encoding; do
    encoding=${encoding%$'\r'}
    file=$dir/$name
    files=$((files + 1))
    got="$(soxi -c "$file") $(soxi -r "$file") $(soxi -b "$file") $(soxi -s "$file")"
    want="$channels $rate $bits $frames"
    if [ "$got" != "$want" ]; then
        echo "FAIL $name: sox reads channels, rate, bits, frames as $got; written $want"
        status=1
        continue
    fi
    # sox keeps an integer encoding when writing raw; floats it would
    # round through its own integers, so only their counts are compared.
    if [ "$encoding" = integer ]; then
        integers=$((integers + 1))
        if ! sox -V1 "$file" -t raw - | cmp -s - "$file.raw"; then
            echo "FAIL $name: the samples sox decodes differ from those written"
            status=1
            continue
        fi
    fi
    echo "ok   $name: $got"
done <"$dir/expected.txt"
[ "$files" -gt 0 ] || status=1
[ "$integers" -gt 0 ] || status=1
echo "$files files, $integers compared sample by sample"
exit $status
