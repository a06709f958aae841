#!/usr/bin/env bash
# Other people's programs against the virtual camera: arv-tool must get along with it, and tshark must find nothing
# wrong in what goes over the wire, also while Aravis receives frames below the provider. To be run in a network of
# its own. Ends with 77 where the machine does not allow it.
# Usage: third-party.sh <ox3d-virtual-camera> <ox3d> <provider> <recording> <gige_camera_parts_test>
set -euo pipefail

program=$1
tool=$2
provider=$3
recording=$4
parts=$5
dir=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null || true; wait; rm -rf "$dir"' EXIT

skip() {
    echo "skipped: $1"
    exit 77
}

fail() {
    echo "failed: $1" >&2
    exit 1
}

# until_there <text> <file> <process>: waits for the text to appear in the file, as long as the process runs.
until_there() {
    until grep -qs "$1" "$2"; do
        kill -0 "$3" 2>/dev/null || return
        sleep 0.1
    done
}

# expect <file> <text>...
expect() {
    for text in "${@:2}"; do
        grep -qF "$text" "$1" || fail "nothing says $text"
    done
}

for needed in arv-tool-0.8 tshark; do
    command -v "$needed" >/dev/null || skip "$needed is not installed"
done
"$program" --camera "serial=LEFT,recording=$recording" \
    --camera "serial=RIGHT,user_name=other,recording=$recording" >"$dir/camera.txt" 2>&1 &
camera=$!
until_there '^ready$' "$dir/camera.txt" "$camera" || fail "the cameras do not come up: $(cat "$dir/camera.txt")"
# Enough of every packet but those that hold nothing but pixels.
tshark -i lo -f udp -s 700 -w "$dir/packets.pcap" >"$dir/tshark.txt" 2>&1 &
capture=$!
until_there '^Capturing on' "$dir/tshark.txt" "$capture" ||
    skip "tshark may not capture: $(tail -n 1 "$dir/tshark.txt")"

arv-tool-0.8 | tee "$dir/list.txt"
expect "$dir/list.txt" "Ox3d-VirtualRgbd-GigE-LEFT (127.0.0.1)" "Ox3d-VirtualRgbd-GigE-RIGHT (127.0.0.2)"
arv-tool-0.8 -a 127.0.0.2 control Gain=3.5 Gain DeviceUserID ChunkModeActive=true PayloadSize | tee "$dir/values.txt"
expect "$dir/values.txt" "Gain = 3.5 dB" "DeviceUserID = other" "PayloadSize = 614408 B"
"$tool" grab --provider "$provider" --serial LEFT --frames 60 --out "$dir/pictures"
[ -s "$dir/pictures/depth.png" ] || fail "no picture came"

# Components in blocks and as parts of one payload, with either kind of ids, as a program over Aravis reads them.
kill -TERM "$camera"
wait "$camera" || fail "ox3d-virtual-camera does not end well"
"$parts" --gtest_filter='Scan3dParts.*:Scan3dBlocks.Come*' >"$dir/parts.txt" || fail "$(cat "$dir/parts.txt")"

kill -INT "$capture"
wait "$capture" || fail "tshark: $(cat "$dir/tshark.txt")"

# fields <options of tshark...>: what the dissectors make of the packets, a line each.
fields() {
    tshark -r "$dir/packets.pcap" "$@" -T fields -E separator=';' -e frame.protocols -e gvsp.format \
        -e gvcp.cmd.status -e gvsp.status -e _ws.malformed -e _ws.expert.severity >>"$dir/fields.txt" \
        2>"$dir/tshark.txt" || fail "$(cat "$dir/tshark.txt")"
}

# Stream packets are known by their ports: everything that is not control. Requests for lost packets go from
# such a port to the control port.
decode=()
while IFS= read -r port; do
    decode+=(-d "udp.port==$port,gvsp")
done < <(tshark -r "$dir/packets.pcap" -Y 'udp && !gvcp' -T fields -e udp.dstport 2>/dev/null | sort -u)
fields -Y gvcp
fields "${decode[@]}" -Y 'udp.dstport != 3956 && udp.srcport != 3956'
for packets in gvcp 'gvsp;0x01' 'gvsp;0x02' 'gvsp;0x03'; do
    [ "$(grep -cE "udp:$packets;" "$dir/fields.txt")" -gt 20 ] || fail "the capture has too little of: $packets"
done
for packets in 81 82 83 87; do # of extended ids; the last one is the data of parts
    grep -q "udp:gvsp;0x$packets;" "$dir/fields.txt" || fail "the capture has no gvsp;0x$packets"
done
# A leader of three parts, in order: what each is, its length, its pixel format and its columns.
tshark -r "$dir/packets.pcap" "${decode[@]}" -Y 'gvsp.numparts == 3' -T fields -E separator=';' -e gvsp.datapurposeid \
    -e gvsp.multipartdatatype -e gvsp.partlength -e gvsp.pixel -e gvsp.sizex >"$dir/leaders.txt" 2>"$dir/tshark.txt"
expect "$dir/leaders.txt" \
    "0x0004,0x0006,0x0001;0x0005,0x0009,0x0001;0x0000000000096000,0x000000000004b000,0x00000000000e1000;0x011000b8,"
# Nothing but the two protocols and success, nothing malformed, no objection of the dissectors. Aravis tries to
# write a register that is optional, and hears that it may not. Severity 2097152 is a chat, no objection: whatever
# goes to a port of traceroute's is said to be possibly that, and Linux hands these ports out as any other.
good=':gvcp;;(0x0000|0x8004)?;;;(2097152)?$|:gvsp;0x(0[123]|8[1237]);;0x0000;;(2097152)?$'
if grep -vE "$good" "$dir/fields.txt" | sort | uniq -c | grep .; then
    fail "tshark objects to these packets"
fi
[ "$(grep -c 'gvcp;;0x8004' "$dir/fields.txt")" -lt 10 ] || fail "too many writes are refused"
echo "passed"
