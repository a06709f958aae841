#!/usr/bin/env bash
# Runs what the documents show of this folder's own commands, as a reader would type it. What is installed is looked at
# by package-check.sh, and the lines of "ox3d" by the tests.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
# shellcheck source=scripts/lib.sh
. scripts/lib.sh

# shows <document> <line>: it is among the document's indented lines, with or without a comment behind it.
shows() {
    sed -n 's/^    //p' "$1" | sed -E 's/ +#.*//' | grep -qxF -e "$2" || fail "$1 no longer shows: $2"
}

# Commands that some document names and ./run does not have.
unknown_commands() {
    local word
    own_files '*.md' | xargs grep -hoE '(^    |`)\./run [a-z-]+' | sed 's/.* //' | sort -u | while IFS= read -r word; do
        ./run help | grep -qE "^  $word( |$)" || printf '%s\n' "$word"
    done
}

has_pictures() {
    local file
    for file in overlay.png depth_color.png color.png cloud.png cloud.ply depth.png; do
        [ -s "out/$file" ] || fail "$1 left no out/$file"
    done
}

demo() {
    shows README.md './run demo'
    rm -rf out
    ./run demo
    has_pictures './run demo'
    shows README.md './run demo DIR'
    rm -rf out
    ./run demo tests/data/office
    has_pictures './run demo DIR'
}

wheel() {
    shows docs/python.md './run wheel'
    ./run wheel
    compgen -G 'out/ox3d-*-py3-none-linux_*.whl' >/dev/null || fail "./run wheel left no wheel in out"
}

# The block of two network cameras that Aravis's own tool lists, waiting no longer than it takes.
network_cameras() {
    local block said
    block=$(awk '/^    unshare -Urn bash/ { isBlock = 1 } isBlock && !/^    / { exit } isBlock' docs/virtual-camera.md)
    [ -n "$block" ] || fail "docs/virtual-camera.md no longer shows cameras in a private network"
    if ! unshare -Urn true 2>/dev/null; then
        say "left out: this machine gives out no private network"
        return 0
    fi
    said=$(PATH="$root/build/release/bin:$PATH" timeout --kill-after=5 60 bash -c "$block" 2>&1)
    printf '%s\n' "$said"
    [ "$(grep -cE '^Ox3d-.*-(LEFT|RIGHT) ' <<<"$said")" -ge 2 ] || fail "docs/virtual-camera.md: Aravis's tool lists no two cameras"
}

[ -z "$(unknown_commands)" ] || fail "documents name commands that ./run does not have: $(unknown_commands | xargs)"
build_preset release
demo
wheel
network_cameras
