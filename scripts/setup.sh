#!/usr/bin/env bash
# Installs everything the build, the tests and the benchmarks need on a
# Debian 12 machine, as root. Idempotent: a second run only checks.
set -euo pipefail

here=$(cd "$(dirname "$0")/.." && pwd)
deps=${MARLOK_DEPS:-/opt/marlok-deps}

packages=(
  cmake make ninja-build pkg-config dpkg-dev
  g++-mingw-w64-i686-posix gcc-mingw-w64-i686-posix binutils-mingw-w64-i686
  mingw-w64-i686-dev libz-mingw-w64-dev
  wine wine32:i386 xvfb xauth
  googletest
  sox
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done

need_update=0
if ! dpkg --print-foreign-architectures | grep -qx i386; then
  dpkg --add-architecture i386
  need_update=1
fi

# The security suite's i386 index may lag the amd64 one; ranking the suite
# below main keeps both architectures of a library at one version.
pin=/etc/apt/preferences.d/marlok-security-pin
if [ ! -f "$pin" ]; then
  printf 'Package: *\nPin: release l=Debian-Security\nPin-Priority: 100\n' > "$pin"
  need_update=1
fi

# Source entry for the benchmark library's source package.
srcs=/etc/apt/sources.list.d/marlok-src.sources
if [ ! -f "$srcs" ]; then
  printf 'Types: deb-src\nURIs: http://deb.debian.org/debian\nSuites: bookworm\nComponents: main\nSigned-By: /usr/share/keyrings/debian-archive-keyring.gpg\n' > "$srcs"
  need_update=1
fi

apt_update() {
  local log rc=0
  log=$(mktemp)
  apt-get update >"$log" 2>&1 || rc=$?
  if [ "$rc" -ne 0 ]; then
    # Exactly one failure is known and harmless: the i386 security index
    # arriving with the wrong size. Any other error line stops the set-up.
    if [ "$rc" -eq 100 ] && ! grep -E '^(E|Err):' "$log" | grep -v -E 'debian-security|Some index files failed' | grep -q .; then
      echo "setup: apt-get update: ignoring the known i386 security index failure"
    else
      cat "$log" >&2
      rm -f "$log"
      echo "setup: apt-get update failed ($rc)" >&2
      return 1
    fi
  fi
  rm -f "$log"
}

if [ "${#missing[@]}" -gt 0 ] || [ "$need_update" -eq 1 ] || [ ! -d "$deps/benchmark" ]; then
  apt_update
fi
if [ "${#missing[@]}" -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${missing[@]}"
fi

# Google Benchmark, cross-built once from Debian's source package.
if [ ! -f "$deps/benchmark/lib/libbenchmark.a" ]; then
  work=$(mktemp -d)
  ( cd "$work" && apt-get source --download-only benchmark >/dev/null && dpkg-source -x --no-check ./benchmark_*.dsc src >/dev/null )
  ver=$(sed -n 's/^Version: \([0-9.]*\).*/\1/p' "$work"/benchmark_*.dsc | head -n1)
  cmake -S "$work/src" -B "$work/build" -G Ninja \
    -DCMAKE_TOOLCHAIN_FILE="$here/cmake/mingw-i686.cmake" \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$deps/benchmark" \
    -DGIT_VERSION="$ver" -DBENCHMARK_ENABLE_TESTING=OFF -DBENCHMARK_ENABLE_GTEST_TESTS=OFF \
    -DBENCHMARK_ENABLE_WERROR=OFF -DBENCHMARK_ENABLE_INSTALL=ON >/dev/null
  cmake --build "$work/build" >/dev/null
  cmake --install "$work/build" >/dev/null
  rm -rf "$work"
  echo "setup: Google Benchmark $ver installed in $deps/benchmark"
fi
echo "setup: ready"
