#!/usr/bin/env bash
# network-demo.sh <folder of programs> <output folder> [recording folder]: puts a virtual camera on the network,
# takes pictures with it through the provider for real cameras, and takes it away again. To be run in a network
# of its own (private-network.sh).
set -euo pipefail

programs=$1
out=$2
recording=${3:-}
dir=$(mktemp -d)
camera=
cleanup() {
    [ -z "$camera" ] || kill "$camera" 2>/dev/null || true
    wait
    rm -rf "$dir"
}
trap cleanup EXIT

{
    echo "[camera]"
    if [ -n "$recording" ]; then
        echo "serial = REC00000001"
        echo "source = recording"
        echo "recording = $recording"
    else
        # A few frames that are rendered beforehand: a busy machine still sends all of them in time.
        printf 'serial = VC00000001\ncycle = 8\n'
    fi
} >"$dir/cameras.ini"
"$programs/ox3d-virtual-camera" --config "$dir/cameras.ini" >"$dir/camera.log" 2>&1 &
camera=$!
for _ in $(seq 300); do
    grep -q '^ready$' "$dir/camera.log" 2>/dev/null && break
    kill -0 "$camera" 2>/dev/null || break
    sleep 0.1
done
grep -q '^ready$' "$dir/camera.log" || {
    echo "the virtual camera does not come up:" >&2
    cat "$dir/camera.log" >&2
    exit 1
}
echo "A virtual camera is on the network: $(grep '^camera ' "$dir/camera.log")"
"$programs/ox3d" grab --provider aravis --out "$out"
