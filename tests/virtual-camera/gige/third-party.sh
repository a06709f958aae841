#!/usr/bin/env bash
# Other people's programs against the virtual camera: arv-tool and arv-camera-test must get along with it, and
# tshark must find nothing wrong in what goes over the wire. Runs in a network of its own.
# Usage: third-party.sh <ox3d-virtual-camera>. Ends with 77 where the machine does not allow it.
set -euo pipefail

skip() {
    echo "skipped: $1"
    exit 77
}

fail() {
    echo "failed: $1" >&2
    exit 1
}

program=$1
if [ "${2:-}" != inside ]; then
    for tool in unshare ip arv-tool-0.8 arv-camera-test-0.8 tshark; do
        command -v "$tool" >/dev/null || skip "$tool is not installed"
    done
    spaces=(unshare -Urn)
    [ "$(id -u)" -ne 0 ] || spaces=(unshare -n)
    "${spaces[@]}" ip link set lo up 2>/dev/null || skip "this machine gives out no private networks"
    exec "${spaces[@]}" bash "$0" "$program" inside
fi

dir=$(mktemp -d)
camera=
capture=
cleanup() {
    [ -z "$capture" ] || kill "$capture" 2>/dev/null || true
    [ -z "$camera" ] || kill "$camera" 2>/dev/null || true
    wait
    rm -rf "$dir"
}
trap cleanup EXIT

# until_there <what> <file> <text>: waits for the text to appear in the file.
until_there() {
    for _ in $(seq 300); do
        grep -q "$3" "$2" 2>/dev/null && return
        sleep 0.1
    done
    cat "$2" >&2
    fail "$1"
}

ip link set lo up
"$program" --camera serial=LEFT,width=640 --camera serial=RIGHT,user_name=other >"$dir/camera.txt" 2>&1 &
camera=$!
until_there "the cameras do not come up" "$dir/camera.txt" '^ready$'
tshark -i lo -f udp -w "$dir/packets.pcap" >"$dir/tshark.txt" 2>&1 &
capture=$!
until_there "tshark does not capture" "$dir/tshark.txt" '^Capturing on'

arv-tool-0.8 | tee "$dir/list.txt"
for line in "Ox3d-VirtualRgbd-GigE-LEFT (127.0.0.1)" "Ox3d-VirtualRgbd-GigE-RIGHT (127.0.0.2)"; do
    grep -qF "$line" "$dir/list.txt" || fail "arv-tool does not list $line"
done
arv-tool-0.8 -a 127.0.0.2 control Gain=3.5 Gain DeviceUserID ChunkModeActive=true PayloadSize | tee "$dir/values.txt"
for line in "Gain = 3.5 dB" "DeviceUserID = other" "PayloadSize = 614408 B"; do
    grep -qF "$line" "$dir/values.txt" || fail "arv-tool does not read $line"
done

chunks="CameraWorkingMode=Rgbd ChunkModeActive=true ChunkSelector=ExtendedImage ChunkEnable=true"
for options in "-i 1500 --features" "-j always --features"; do
    # shellcheck disable=SC2086 # words; the features are one
    arv-camera-test-0.8 -n Ox3d-LEFT --duration=2 $options "$chunks" >"$dir/stream.txt" 2>&1 ||
        { cat "$dir/stream.txt"; fail "arv-camera-test"; }
    cat "$dir/stream.txt"
    grep -qE 'n_completed_buffers += [1-9][0-9]' "$dir/stream.txt" || fail "hardly any frames came"
    for counter in n_failures n_missing_packets n_size_mismatch_errors n_error_packets; do
        grep -qE "^$counter += 0$" "$dir/stream.txt" || fail "$counter is not 0"
    done
done

kill -INT "$capture"
wait "$capture" || fail "tshark: $(cat "$dir/tshark.txt")"
capture=
kill -TERM "$camera"
wait "$camera" || fail "ox3d-virtual-camera does not end well"
camera=

# Stream packets are known by their ports: everything that is not control.
decode=()
while IFS= read -r port; do
    decode+=(-d "udp.port==$port,gvsp")
done < <(tshark -r "$dir/packets.pcap" -Y 'udp && !gvcp' -T fields -e udp.dstport 2>/dev/null | sort -u)
count() { tshark -r "$dir/packets.pcap" "${decode[@]}" -Y "$1" 2>/dev/null | wc -l; }
for filter in gvcp 'gvsp.format == 1' 'gvsp.format == 2' 'gvsp.format == 3'; do
    [ "$(count "$filter")" -gt 20 ] || fail "the capture has too little of: $filter"
done
for filter in _ws.malformed '_ws.expert.severity == "Error" || _ws.expert.severity == "Warning"' \
    'udp && !gvcp && !gvsp' 'gvcp.status > 0 && gvcp.status < 0xffff' 'gvsp.status > 0'; do
    [ "$(count "$filter")" -eq 0 ] || fail "the capture has packets of: $filter"
done
echo "passed"
