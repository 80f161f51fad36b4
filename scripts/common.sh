# What the scripts of this folder share; sourced, with the root of the tree as the current folder.
# shellcheck shell=bash

export LC_ALL=C.UTF-8
if command -v ccache >/dev/null; then
  # CMake takes these as the defaults of a new build folder.
  export CMAKE_C_COMPILER_LAUNCHER=$PWD/scripts/cached-compiler
  export CMAKE_CXX_COMPILER_LAUNCHER=$CMAKE_C_COMPILER_LAUNCHER
  export CMAKE_OBJCXX_COMPILER_LAUNCHER=$CMAKE_C_COMPILER_LAUNCHER
fi

# fail <message>: ends the script.
fail() {
  echo "${0##*/}: $*" >&2
  exit 1
}

# project_version <root of the tree>: the version; its one place is the CMake project.
project_version() {
  sed -n 's/^project(.* VERSION \([0-9.]*\) .*/\1/p' "$1/CMakeLists.txt"
}

# needed <file>: the libraries that it is linked with.
needed() {
  readelf --wide --dynamic "$1" | sed -nE 's/.*\(NEEDED\).*\[(.*)\]/\1/p'
}

# make_guest_image <output>: the image, with one more try on a new package list, because an old one
# may name a kernel that the archive no longer has.
make_guest_image() {
  scripts/make-guest-image "$1" ||
    { scripts/install-packages --update guest && scripts/make-guest-image "$1"; }
}

# configure_preset <preset>
configure_preset() {
  cmake --preset "$1" >"build/$1.configure.log" 2>&1 || {
    cat "build/$1.configure.log"
    return 1
  }
}

# build_preset <preset> [cmake --build arguments...]
build_preset() {
  local preset=$1
  shift
  configure_preset "$preset" || return
  cmake --build --preset "$preset" "$@"
}
