#!/usr/bin/env bash
# Installs a tree that is already built into a scratch prefix, then builds the
# consumer program against that install twice, through the CMake package and
# through pkg-config with the compiler alone, and runs both. Each must load
# the library from the prefix. Builds nothing of the library itself.
#
# Usage: installed_consumer.sh BUILD_DIR CMAKE CXX [GENERATOR]
set -euo pipefail

build_dir=$1
cmake=$2
cxx=$3
generator=${4:-}
here=$(cd "$(dirname "$0")" && pwd)

scratch=$(mktemp -d "${TMPDIR:-/tmp}/configstore-install.XXXXXX")
trap 'rm -rf "$scratch"' EXIT
prefix=$scratch/prefix

"$cmake" --install "$build_dir" --prefix "$prefix"

# lib, or lib/<multiarch> when the tree was configured for /usr.
library=$(find "$prefix" -name libconfigstore.so -print -quit)
if [ -z "$library" ]; then
  echo "libconfigstore.so is not installed under $prefix" >&2
  exit 1
fi
libdir=$(dirname "$library")

# Runs a consumer, first checking that the dynamic loader resolves the
# library to the install (not the build tree, not the system).
run_consumer() {
  local exe=$1 resolved
  resolved=$(ldd "$exe" | awk '$1 ~ /^libconfigstore\.so/ { print $3 }')
  if [ "$resolved" != "$libdir/$(basename "$resolved")" ]; then
    echo "$exe loads libconfigstore from '${resolved}', not from $libdir" >&2
    exit 1
  fi
  "$exe"
}

echo "== CMake: find_package(configstore)"
consumer_build=$scratch/cmake-consumer
"$cmake" -S "$here/installed" -B "$consumer_build" ${generator:+-G "$generator"} \
  -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
if ! grep -q "^configstore_DIR:PATH=$prefix/" "$consumer_build/CMakeCache.txt"; then
  echo "find_package(configstore) did not take the package from $prefix" >&2
  exit 1
fi
"$cmake" --build "$consumer_build"
# The build tree's RPATH names the install's library directory.
(unset LD_LIBRARY_PATH; run_consumer "$consumer_build/consumer")

echo "== pkg-config configstore"
flags=$(PKG_CONFIG_PATH="$libdir/pkgconfig" pkg-config --cflags --libs configstore)
echo "$flags"
# shellcheck disable=SC2086 # the flags are words
"$cxx" -o "$scratch/pc-consumer" "$here/consumer/main.cc" $flags
(export LD_LIBRARY_PATH=$libdir; run_consumer "$scratch/pc-consumer")
