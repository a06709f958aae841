#!/usr/bin/env bash
# Builds the Debian packages and a tarball for other distributions, from a copy of the sources, into build/package.
# usage: package.sh            build both
#        package.sh --baseline write packaging/abi anew from what was built last
#        package.sh --abi LIBRARY FILE describe the interface of one library
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
# shellcheck source=scripts/lib.sh
. "$root/scripts/lib.sh"
# shellcheck source=scripts/gates.sh
. "$root/scripts/gates.sh"

place="$root/build/package"
source="$place/source"
version=$(sed -n 's/^project(Ox3dRgbd VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
[ -n "$version" ] || fail "CMakeLists.txt does not tell the version"

# symbols_of <library> <list>: a part of the symbols file; programs need the release that was built against.
symbols_of() {
    echo "$1 libox3drgbd1 #MINVER#"
    listed "$2" | sed "s/.*/ &@Base $version/"
}

# The viewer's page as npm builds it goes into the sources: who builds the packages of them needs neither npm nor a network.
build_page() {
    cmake "-DSOURCE=$root/viewer/page" "-DWORK=$place/npm" "-DOUT=$source/viewer/page/built" -DNPM=npm \
        "-DMODULES=$root/build/node-page/node_modules" -P viewer/page/BuildPage.cmake
    rm -rf "$place/npm"
}

# What git would commit, with debian/ where its tools want it; version and symbols have one place each, elsewhere.
copy_sources() {
    local date
    rm -rf "$place"
    mkdir -p "$source"
    own_files | tar --create --verbatim-files-from --files-from=- | tar --extract --directory="$source"
    build_page
    cp -r packaging/debian "$source/debian"
    date=$(git log -1 --format=%ct 2>/dev/null || stat -c %Y CMakeLists.txt)
    cat >"$source/debian/changelog" <<TEXT
ox3drgbd ($version) unstable; urgency=medium

  * CHANGELOG.md has what changed.

 -- $(sed -n 's/^Maintainer: //p' packaging/debian/control)  $(date --utc --rfc-email --date="@$date")
TEXT
    {
        symbols_of "libOx3dRgbd.so.${version%%.*}" scripts/exports.txt
        symbols_of libMediaProcess.so scripts/exports-media.txt
        symbols_of "libox3d-recording.so.${version%%.*}" scripts/exports-recording.txt
    } >"$source/debian/libox3drgbd1.symbols"
}

build_debian() {
    # Symbols for debuggers are kept where the library was built; packages of them would double the time.
    (cd "$source" && DEB_BUILD_OPTIONS="parallel=$jobs noautodbgsym ${DEB_BUILD_OPTIONS:-}" \
        dpkg-buildpackage --build=binary --no-sign)
}

# bundled_into <folder> <object...>: the libraries that these need, and that not every distribution has in the same
# version, with the licences of their packages. The C and C++ run time and the loader are the system's.
bundled_into() {
    local folder="$1" library package
    mkdir -p "$folder" "$stage/share/doc/ox3drgbd/bundled"
    shift
    for library in $(ldd "$@" | awk '$2 == "=>" && $3 ~ "^/" { print $3 }' | sort -u | grep -vE \
        '/(lib(c|m|dl|rt|pthread|resolv|gcc_s)|libstdc\+\+|libOx3dRgbd|libMediaProcess|libox3d-recording)\.so[.0-9]*$'); do
        cp --dereference "$library" "$folder/"
        # The loader's answer may go through a folder that is a link, which the package data base does not know.
        package=$(dpkg-query --search "$library" "$(readlink -f "$library")" "/usr$library" 2>/dev/null |
            head -n 1 | sed 's/:.*//') || true
        [ -n "$package" ] || fail "no package owns $library"
        cp "/usr/share/doc/$package/copyright" "$stage/share/doc/ox3drgbd/bundled/$package"
    done
}

# Whatever lies in one of these files' folders is found from there, wherever the whole lies.
write_tarball() {
    local name stage libdir own bundled file
    name="ox3drgbd-$version-linux-$(uname -m)"
    stage="$place/$name"
    libdir="lib/$(cc -print-multiarch)"
    bundled="$stage/$libdir/ox3drgbd/bundled"
    cmake --install "$source/built" --prefix "$stage" --strip
    own=("$stage"/bin/* "$stage/$libdir"/lib*.so "$stage/$libdir"/ox3drgbd/*/*.so)
    bundled_into "$bundled" "${own[@]}"
    for file in "${own[@]}" "$bundled"/*; do
        [ -L "$file" ] && file=$(readlink -f "$file")
        patchelf --set-rpath "$(run_path "$file")" "$file"
    done
    tar --create --gzip --sort=name --owner=0 --group=0 --numeric-owner --directory="$place" \
        --file="$place/$name.tar.gz" "$name"
    rm -rf "$stage"
}

# run_path <file>: its own one, and the bundled libraries after that.
run_path() {
    local own
    own=$(patchelf --print-rpath "$1")
    # shellcheck disable=SC2016 # the dynamic linker expands it
    printf '%s$ORIGIN/%s\n' "${own:+$own:}" "$(realpath --relative-to="$(dirname "$1")" "$bundled")"
}

# abi_of <library with debug information> <description>: the interface that the public headers give, and nothing that names this machine.
abi_of() {
    abidw --headers-dir "$source/include" --drop-private-types --exported-interfaces-only --drop-undefined-syms \
        --no-corpus-path --no-comp-dir-path --no-show-locs --no-elf-needed --no-parameter-names \
        --type-id-style hash --out-file "$2" "$1"
}

write_baseline() {
    local library
    mkdir -p packaging/abi
    for library in Ox3dRgbd MediaProcess ox3d-recording; do
        abi_of "$source"/built/lib/*/"lib$library.so" "packaging/abi/lib$library.abi"
    done
}

case "${1:-}" in
"")
    copy_sources
    build_debian
    write_tarball
    ls -1s --block-size=KiB "$place"/*.deb "$place"/*.tar.gz
    ;;
--baseline) write_baseline ;;
--abi) abi_of "$2" "$3" ;;
*) fail "no such option: $1" ;;
esac
