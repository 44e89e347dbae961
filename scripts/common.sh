# Shared by the runner scripts: set-up (as root, or through sudo) and the
# configure-and-build step of one build tree.
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

marlok_setup() {
  if [ "$(id -u)" -eq 0 ]; then
    bash "$root/scripts/setup.sh"
  else
    sudo bash "$root/scripts/setup.sh"
  fi
}

# marlok_build DIR [cmake options...]
marlok_build() {
  local dir=$1
  shift
  cmake -S "$root" -B "$dir" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-i686.cmake" "$@" >/dev/null
  cmake --build "$dir" -j"$(nproc)"
}
