#!/usr/bin/env bash
# Installs a build into a fresh prefix, builds a consumer program in C++ and the examples in C against it, and runs
# them with the virtual camera's provider.
# usage: consume.sh BUILD_FOLDER WORK_FOLDER LIBRARY_FOLDER, the last one below the prefix, such as lib
set -euo pipefail
sources=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/consumer
examples=$(cd "$sources/../../../examples" && pwd)
build=$(cd "$1" && pwd)
work="$2"
libdir="$3"
warnings=(-Wall -Wextra -Wpedantic -Werror)

# From an empty folder, and moved after the installation: nothing may depend on where the prefix lay.
rm -rf "$work"
mkdir -p "$work/run"
work=$(cd "$work" && pwd)
cmake --install "$build" --prefix "$work/installed" >"$work/install.log"
mv "$work/installed" "$work/prefix"
prefix="$work/prefix"

# run <what> <program> [arguments]: in a folder of its own, since the library writes its log and calibration files there.
run() {
    echo "== $1"
    (cd "$work/run" && LD_LIBRARY_PATH="$prefix/$libdir:$prefix/$libdir/ox3drgbd/virtual" "${@:2}")
}

echo "== CMake"
cmake -S "$sources" -B "$work/cmake" -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$prefix" \
    >"$work/configure.log"
cmake --build "$work/cmake"
run "C++ program built by CMake" "$work/cmake/consumer"

cmake -S "$examples" -B "$work/examples" -DCMAKE_PREFIX_PATH="$prefix" >>"$work/configure.log"
cmake --build "$work/examples"
run "example" "$work/examples/point_cloud"

echo "== the tool"
(cd "$work/run" && env -u LD_LIBRARY_PATH "$prefix/bin/ox3d" list --provider virtual)

echo "== pkg-config"
export PKG_CONFIG_PATH="$prefix/$libdir/pkgconfig"
test "$(pkg-config --modversion ox3drgbd)" = "$(sed -n 's/^set(PACKAGE_VERSION "\(.*\)")$/\1/p' \
    "$prefix/$libdir/cmake/Ox3dRgbd/Ox3dRgbdConfigVersion.cmake")"
test -d "$(pkg-config --variable=providerdir ox3drgbd)/virtual"
read -r -a cflags <<<"$(pkg-config --cflags ox3drgbd)"
read -r -a libs <<<"$(pkg-config --libs ox3drgbd)"
cc -std=c11 "${warnings[@]}" "${cflags[@]}" "$examples/point_cloud.c" -o "$work/point_cloud" "${libs[@]}"
c++ -std=c++17 "${warnings[@]}" "${cflags[@]}" "$sources/consumer.cpp" -o "$work/consumer" "${libs[@]}"
run "C program built with pkg-config" "$work/point_cloud"
run "C++ program built with pkg-config" "$work/consumer"

# Without a provider on the path the library still loads, and says what is missing.
echo "== without a provider"
(cd "$work/run" && LD_LIBRARY_PATH="$prefix/$libdir" "$work/consumer" --no-provider)
