#!/usr/bin/env bash
# Installs what is missing, builds the release tree and runs the demo host.
set -euo pipefail
source "$(dirname "$0")/common.sh"
marlok_setup
marlok_build "$root/build/release" -DMARLOK_TESTS=OFF
b="$root/build/release"
rc=0
"$b/winerun.sh" "$b/bin/marlok_demo.exe" "$@" || rc=$?
"$b/winesession.sh" stop
exit $rc
