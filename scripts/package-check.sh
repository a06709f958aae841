#!/usr/bin/env bash
# What the packages of build/package have to stand: Debian's checker, the comparison of their binary interface with
# that of packaging/abi, and a life in a system that has nothing but Debian's base. Its parts are run by name, or all.
# usage: package-check.sh [abi|paths|lint|uninstall|root]...
# The last one calls this script again, as "in-root FOLDER", in a clean system that is thrown away after it.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
# shellcheck source=scripts/lib.sh
. "$root/scripts/lib.sh"

place="$root/build/package"
built="$place/source/built"
work="$place/check"
libdir="lib/$(cc -print-multiarch)"

# Symbols and records may come: programs that were built with the library of the baseline run with this one.
check_abi() {
    local library status=0
    mkdir -p "$work"
    for library in Ox3dRgbd MediaProcess ox3d-recording; do
        bash scripts/package.sh --abi "$built/$libdir/lib$library.so" "$work/lib$library.abi"
        abidiff --no-added-syms "packaging/abi/lib$library.abi" "$work/lib$library.abi" || {
            say "^ lib$library.so breaks programs that were built with it (a new major version: ./run package --baseline)"
            status=1
        }
    done
    return "$status"
}

# What is handed out names no folder of the machine that built it.
check_paths() {
    local package
    rm -rf "$work/content"
    mkdir -p "$work/content/tarball"
    for package in "$place"/*.deb; do
        dpkg-deb --raw-extract "$package" "$work/content/$(basename "$package")"
    done
    tar --extract --file="$(tarball)" --directory="$work/content/tarball"
    if grep -rlF "$root" "$work/content"; then
        fail "^ hold the path of this folder"
    fi
}

check_lint() { lintian --allow-root --fail-on error "$place"/*.changes; }

check_uninstall() {
    local dir="$work/installed"
    rm -rf "$dir"
    DESTDIR="$dir" cmake --install "$built" >/dev/null
    [ -x "$dir/usr/bin/ox3d" ] || fail "nothing was installed"
    DESTDIR="$dir" cmake --build "$built" --target uninstall >/dev/null
    if find "$dir" ! -type d | grep .; then
        fail "^ still there after the uninstallation"
    fi
}

tarball() { printf '%s\n' "$place"/ox3drgbd-*.tar.gz; }

# older_packages <folder>: the same packages as of an earlier release.
older_packages() {
    local package content="$work/older"
    mkdir -p "$1"
    for package in "$place"/*.deb; do
        rm -rf "$content"
        dpkg-deb --raw-extract "$package" "$content"
        sed -i -E 's/^(Version: ).*/\10.9/; s/\(= [^)]*\)/(= 0.9)/g; s/(libox3drgbd1 \(>= )[^)]*/\10.9/' \
            "$content/DEBIAN/control"
        dpkg-deb --root-owner-group --build -Znone "$content" "$1" >/dev/null
    done
}

# Debian's own sources of this machine, whichever mirror they name.
mirror_sources() {
    local id
    id=$(sed -n 's/^ID="\{0,1\}\([a-z]*\)"\{0,1\}$/\1/p' /etc/os-release)
    # shellcheck disable=SC2016 # apt-get expands them
    apt-get indextargets --format 'deb $(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' \
        "Origin: ${id^}" | sort -u
}

# The root is thrown away when the last step has run in it.
check_root() {
    local codename options=() proxy
    if ! as_root unshare --mount chroot / true; then
        say "left out: nobody may make a system within this one here (mount, chroot)"
        return 0
    fi
    codename=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)
    rm -rf "$work/root"
    mkdir -p "$work/root/packages"
    older_packages "$work/root/packages/older"
    cp "$place"/*.deb "$(tarball)" "$work/root/packages/"
    mirror_sources >"$work/root/sources.list"
    [ -s "$work/root/sources.list" ] || apt_get update
    mirror_sources >"$work/root/sources.list"
    [ -s "$work/root/sources.list" ] || fail "this machine's sources of packages tell of no mirror of Debian"
    while IFS= read -r proxy; do
        options+=("--aptopt=$proxy")
    done < <(apt-config dump | grep -iE '^Acquire::https?::Proxy ' || true)
    as_root mmdebstrap --mode=root --variant=minbase --format=null --skip=cleanup \
        --aptopt='Acquire::Retries "3"' "${options[@]}" --include=ca-certificates \
        --customize-hook="bash '$root/scripts/package-check.sh' in-root \"\$1\"" \
        "$codename" - "$work/root/sources.list" ||
        fail "the clean system: see above; without its mirror (build/package/check/root/sources.list) it cannot be made"
}

# within <program> [arguments]: in the clean root, in a folder that programs may write to.
within() {
    # shellcheck disable=SC2016 # the inner shell expands it
    chroot "$clean" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/tmp/work DEBIAN_FRONTEND=noninteractive \
        sh -c 'mkdir -p /tmp/work && cd /tmp/work && exec "$@"' sh "$@"
}

# Everything that packages may leave behind; what apt, dpkg and ldconfig keep for themselves is not theirs.
files_of_root() {
    (cd "$clean" && find . -xdev \( -path ./proc -o -path ./sys -o -path ./dev -o -path ./run -o -path ./tmp \
        -o -path ./packages -o -path ./var/cache -o -path ./var/log -o -path ./var/lib/apt -o -path ./var/lib/dpkg \) \
        -prune -o -print | sort)
    # Of the package data base: which packages it has ever heard of.
    # shellcheck disable=SC2016 # dpkg-query expands it
    within dpkg-query --show --showformat='${Package} ${db:Status-Status}\n' | sort
}

# has_cloud <folder in the root>: points by the hundred thousand, as the header of the file says and as its length is.
has_cloud() {
    local file="$clean$1/cloud.ply" points
    points=$(sed -n '/^end_header/q; s/^element vertex //p' "$file" | tr -d '\r')
    say "$1/cloud.ply: $points points"
    [ "$points" -ge 100000 ] && [ "$(stat -c %s "$file")" -gt $((points * 12)) ]
}

# With nothing of Debian's beside the base.
tarball_runs() {
    local name place_of="/srv/another place"
    name=$(basename "$(tarball)" .tar.gz)
    mkdir -p "$clean/opt/first" "$clean$place_of"
    within tar --extract --file="/packages/$name.tar.gz" --directory=/opt/first
    mv "$clean/opt/first/$name" "$clean$place_of/camera things"
    place_of+="/camera things"
    within "$place_of/bin/ox3d" grab --provider virtual --out /tmp/of-tarball
    has_cloud /tmp/of-tarball
    within "$place_of/bin/ox3d" list --provider aravis
    within "$place_of/bin/ox3d-virtual-camera" --help >/dev/null
    rm -rf "$clean/opt/first" "${clean:?}${place_of%/*}"
}

# consumers_run: a program built against what the root has, by CMake and by pkg-config, with this machine's compiler.
consumers_run() {
    local usr="$clean/usr" out="$clean/tmp/consumers" flags
    mkdir -p "$out"
    cmake -S tests/package/consumer -B "$out/cmake" -DCMAKE_PREFIX_PATH="$usr"
    grep -F "Ox3dRgbd_DIR:PATH=$usr/$libdir/cmake/Ox3dRgbd" "$out/cmake/CMakeCache.txt"
    cmake --build "$out/cmake"
    read -r -a flags <<<"$(PKG_CONFIG_LIBDIR="$usr/$libdir/pkgconfig" pkg-config --cflags --libs ox3drgbd)"
    [[ " ${flags[*]} " == *"-L"*"$usr/"* ]] || fail "pkg-config gives another library: ${flags[*]}"
    cc -std=c11 -Wall -Wextra -Werror examples/point_cloud.c -o "$out/point_cloud" "${flags[@]}"
    within env OX3D_PROVIDER=virtual /tmp/consumers/cmake/consumer
    within env OX3D_PROVIDER=virtual /tmp/consumers/point_cloud
}

# A program in Python fetches, records and reads again what it fetched.
python_runs() {
    within python3 -c '
import ox3d
with ox3d.Camera(provider="virtual") as camera, camera.record("python.mcap", wait=True) as recorder:
    for frame in camera.frames(60):
        recorder.add(frame)
        break
assert frame.depth.any() and (ox3d.Recording("python.mcap")[0].depth == frame.depth).all()
print(ox3d.__file__, frame)'
}

# installed <version>: all packages are, in this one.
installed() {
    local name found
    for name in "${names[@]}"; do
        # shellcheck disable=SC2016 # dpkg-query expands it
        found=$(within dpkg-query --show --showformat='${Version} ${db:Status-Status}' "$name")
        [ "$found" = "$1 installed" ] || fail "$name: version $1 should be installed, found: $found"
    done
}

# Installed, used, replaced by a newer version, removed, purged; with no udev, and nobody to ask.
in_root() {
    local version names=() package
    clean="$1"
    cp -r "$work/root/packages" "$clean/packages"
    tarball_runs
    files_of_root >"$work/root/before.txt"
    for package in "$place"/*.deb; do
        names+=("$(dpkg-deb --field "$package" Package)")
        version=$(dpkg-deb --field "$package" Version)
    done

    within sh -c 'apt-get install --yes --no-install-recommends /packages/older/*.deb'
    installed 0.9
    within sh -c 'apt-get install --yes --no-install-recommends /packages/*.deb'
    installed "$version"
    within ox3d grab --provider virtual --out /tmp/of-packages
    has_cloud /tmp/of-packages
    python_runs
    within ox3d list --provider aravis
    cmp packaging/60-ox3d-usb3vision.rules "$clean"/usr/lib/udev/rules.d/60-ox3d-usb3vision.rules
    consumers_run
    within ldconfig --print-cache | grep -F libOx3dRgbd.so.1

    within apt-get remove --yes "${names[@]}"
    within dpkg --purge "${names[@]}" # apt-get knows no package that is gone and that no mirror has
    within apt-get autoremove --purge --yes
    files_of_root >"$work/root/after.txt"
    if diff "$work/root/before.txt" "$work/root/after.txt" | grep '^[<>]'; then
        fail "^ the system before (<) and after (>) packages that came and went"
    fi
}

[ -n "$(compgen -G "$place/*.deb")" ] || fail "there are no packages in build/package (./run package)"
mkdir -p "$work"
if [ "${1:-}" = in-root ]; then
    in_root "$2"
    exit
fi
[ $# -gt 0 ] || set -- abi paths lint uninstall root
for check in "$@"; do
    say "== $check"
    "check_$check"
done
