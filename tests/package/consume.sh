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

unset LD_LIBRARY_PATH OX3D_PROVIDER OX3D_RGBD_DATA_DIR

# run <what> <program> [arguments]: in a folder of its own, since the library writes its log and calibration files there.
run() {
    echo "== $1"
    (cd "$work/run" && OX3D_PROVIDER="${provider-virtual}" "${@:2}")
}

echo "== CMake"
cmake -S "$sources" -B "$work/cmake" -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$prefix" \
    >"$work/configure.log"
cmake --build "$work/cmake"
run "C++ program built by CMake" "$work/cmake/consumer"

cmake -S "$examples" -B "$work/examples" -DCMAKE_PREFIX_PATH="$prefix" >>"$work/configure.log"
cmake --build "$work/examples"
run "example" "$work/examples/point_cloud"

run "the tool" "$prefix/bin/ox3d" list

echo "== pkg-config"
export PKG_CONFIG_PATH="$prefix/$libdir/pkgconfig"
test "$(pkg-config --modversion ox3drgbd)" = "$(sed -n 's/^set(PACKAGE_VERSION "\(.*\)")$/\1/p' \
    "$prefix/$libdir/cmake/Ox3dRgbd/Ox3dRgbdConfigVersion.cmake")"
test -d "$(pkg-config --variable=providerdir ox3drgbd)/virtual"
read -r -a cflags <<<"$(pkg-config --cflags ox3drgbd)"
read -r -a libs <<<"$(pkg-config --libs ox3drgbd)"
libs+=(-lox3d-recording "-Wl,-rpath,$prefix/$libdir")
cc -std=c11 "${warnings[@]}" "${cflags[@]}" "$examples/point_cloud.c" -o "$work/point_cloud" "${libs[@]}"
c++ -std=c++17 "${warnings[@]}" "${cflags[@]}" "$sources/consumer.cpp" -o "$work/consumer" "${libs[@]}"
run "C program built with pkg-config" "$work/point_cloud"
run "C++ program built with pkg-config" "$work/consumer"

# The programs in the documents. Those of C are C++, too. What has no main of its own is C++ with a camera that streams.
root=$(cd "$sources/../../.." && pwd)
mkdir "$work/documents"
for page in README.md docs/cpp.md docs/getting-started.md docs/cookbook.md docs/recording.md; do
    awk -v to="$work/documents/$(basename "$page" .md)" '
        /^```/ { if (file) close(file); file = $0 ~ /^```(c|cpp)$/ ? to "." ++n "." substr($0, 4) : ""
                 if ($0 == "```sh") file = to ".sh"; next }
        file { print >>file }' "$root/$page"
done
for program in "$work"/documents/*.c "$work"/documents/*.cpp; do
    compilers=("c++ -std=c++17 -x c++")
    [[ "$program" == *.cpp ]] || compilers+=("cc -std=c11")
    if ! grep -q 'int main' "$program"; then
        sed -e "/PIECE/{r $program" -e 'd}' "$sources/piece.cpp.in" >"$work/piece.cpp"
        mv "$work/piece.cpp" "$program"
    fi
    for compiler in "${compilers[@]}"; do
        # shellcheck disable=SC2086 # a command and its options
        $compiler "${warnings[@]}" "${cflags[@]}" "$program" -x none -o "$work/program" "${libs[@]}"
        run "$(basename "$program") by $compiler" "$work/program"
    done
done
# The commands of a page are one session in a folder of its own, for which the library is installed.
for commands in "$work"/documents/*.sh; do
    echo "== $(basename "$commands")"
    mkdir "$commands.run"
    (cd "$commands.run" && PATH="$prefix/bin:$PATH" LD_LIBRARY_PATH="$prefix/$libdir" bash -euxo pipefail "$commands")
done

# With nothing set, real cameras are looked for, whether there are any or not.
if [ -d "$prefix/$libdir/ox3drgbd/aravis" ]; then
    provider="" run "real cameras" "$work/consumer" list
    grep "camera control: $prefix/$libdir/ox3drgbd/aravis/libOxCameraControl.so" "$work/run/Ox3dRgbdLog/Ox3dRgbd_00.log"
fi

# Where the variable leads nowhere the library still loads, and says what is missing.
provider=/none run "without a provider" "$work/consumer" none
grep "LoadLibrary. /none: cannot open" "$work/run/Ox3dRgbdLog/Ox3dRgbd_00.log"
