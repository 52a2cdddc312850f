#!/bin/sh
# Builds the consumer programs against an installed dm_lib_pd the way a
# Makefile-based application would, with nothing but what pkg-config says,
# and runs them under the host stand-in.
#   pkg-config-build.sh PREFIX SOURCE_DIR OUT_DIR
# CC, CXX and EXTRA_FLAGS (for example the sanitizer flags of the library's
# build) come from the environment.
set -eu
prefix=$1 src=$2 out=$3
: "${CC:=cc}" "${CXX:=c++}" "${EXTRA_FLAGS:=}"

PKG_CONFIG_PATH=$prefix/lib/pkgconfig
export PKG_CONFIG_PATH
flags=$(pkg-config --cflags --libs dm_lib_pd dm_host)
echo "pkg-config --cflags --libs dm_lib_pd dm_host: $flags"
version=$(pkg-config --modversion dm_lib_pd)
echo "dm_lib_pd $version"

rm -rf "$out"
mkdir -p "$out"
strict="-Wall -Wextra -Wpedantic -Werror"
# shellcheck disable=SC2086 # the flags are word lists
$CC -std=c11 $strict $EXTRA_FLAGS "$src/consumer.c" -o "$out/consumer_c" $flags -Wl,-rpath,"$prefix/lib"
# shellcheck disable=SC2086
$CXX -std=c++17 $strict $EXTRA_FLAGS "$src/consumer.cpp" -o "$out/consumer_cxx" $flags -Wl,-rpath,"$prefix/lib"

"$out/consumer_c"
"$out/consumer_cxx"
