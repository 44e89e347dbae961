#!/usr/bin/env bash
# Installs what is missing, builds the hardened test tree and runs every
# test under Wine. Extra arguments go to ctest (for example -R LxList).
set -euo pipefail
source "$(dirname "$0")/common.sh"
marlok_setup
marlok_build "$root/build/test" -DMARLOK_HARDEN=ON -DMARLOK_TESTS=ON
cd "$root/build/test"
ctest --output-on-failure -j"$(nproc)" "$@"
