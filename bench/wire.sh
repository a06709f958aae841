#!/usr/bin/env bash
# wire.sh <folder of programs> <folder of the provider>: frames of 8 MB from a network camera over the loopback
# interface: the client's share of a processor at 30 frames a second, the highest rate without loss, and what
# enumeration and opening take. To be run in a network of its own (scripts/private-network.sh). Camera and client
# share this machine's processors, so a rate is that of both together.
set -euo pipefail

programs=$1
provider=$2
serial=WIRE
seconds=${OX3D_WIRE_SECONDS:-6}
rates="30 45 60 75 90 105 120 150 180 240"
dir=$(mktemp -d)
camera=
cleanup() {
    [ -z "$camera" ] || kill "$camera" 2>/dev/null || true
    wait
    rm -rf "$dir"
}
trap cleanup EXIT
cd "$dir"

"$programs/ox3d-virtual-camera" --camera \
    "serial=$serial,width=1280,height=720,color_width=1920,color_height=1080,cycle=8" >camera.log 2>&1 &
camera=$!
for _ in $(seq 600); do
    grep -q '^ready$' camera.log 2>/dev/null && break
    kill -0 "$camera" 2>/dev/null || break
    sleep 0.1
done
grep -q '^ready$' camera.log || {
    echo "the virtual camera does not come up:" >&2
    cat camera.log >&2
    exit 1
}

# measure <packet> <rate> [command before the client...]
measure() {
    local packet=$1 rate=$2
    shift 2
    "$@" env LD_LIBRARY_PATH="$provider" \
        "$programs/ox3d_wire_client" stream "$serial" "$packet" "$rate" "$seconds" "$camera"
}

# highest <packet> [command before the client...]: upwards until frames get lost or no more come.
highest() {
    local packet=$1 rate line best="none" got
    shift
    for rate in $rates; do
        line=$(measure "$packet" "$rate" "$@") || break
        printf '%s\n' "$line"
        grep -q ' lost *0 of' <<<"$line" || break
        got=$(sed -n 's|.* got  *\([0-9.]*\)/s.*|\1|p' <<<"$line")
        awk -v got="$got" -v asked="$rate" 'BEGIN { exit got < 0.97 * asked }' || {
            best="$got frames/s, the most that the camera sends here"
            break
        }
        best="$got frames/s"
    done
    echo "highest rate without loss at packets of $packet bytes: $best"
}

echo "Enumeration and opening over loopback, medians:"
env LD_LIBRARY_PATH="$provider" "$programs/ox3d_wire_client" open "$serial"
echo
echo "Streaming, shares in per cent of one processor:"
for packet in 1500 9000; do
    highest "$packet"
done
# Without the capability reception falls back from a packet socket to UDP.
without=(setpriv --bounding-set=-net_raw --inh-caps=-net_raw)
if "${without[@]}" true 2>/dev/null; then
    echo
    echo "The same without a packet socket:"
    for packet in 1500 9000; do
        highest "$packet" "${without[@]}"
    done
fi
