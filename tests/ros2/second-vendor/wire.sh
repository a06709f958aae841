#!/usr/bin/env bash
# What goes over the wire while another vendor's readers read every type, as tshark dissects it: without a complaint, in
# plain CDR, by the names that ROS 2 uses. To be run in a network of its own. Ends with 77 where the machine does not allow
# it.
# Usage: wire.sh <ros2_second_vendor_test>
set -euo pipefail

test=$1
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

command -v tshark >/dev/null || skip "tshark is not installed"
tshark -i lo -f udp -w "$dir/packets.pcap" >"$dir/tshark.txt" 2>&1 &
capture=$!
until grep -q '^Capturing on' "$dir/tshark.txt"; do
    kill -0 "$capture" 2>/dev/null || skip "tshark may not capture: $(tail -n 1 "$dir/tshark.txt")"
    sleep 0.1
done
# tshark says that it captures before it does, and writes what it has captured later: a datagram to a port where nobody is tells
# when both have happened.
seen() {
    for _ in {1..100}; do
        head -c 1000 /dev/zero >"/dev/udp/127.0.0.1/$1" 2>/dev/null || true
        [ -z "$(tshark -r "$dir/packets.pcap" -Y "udp.dstport == $1" 2>/dev/null)" ] || return 0
    done
    fail "tshark captures nothing"
}
seen 9
"$test" --gtest_filter='SecondVendor.EveryTypeIsReadFieldByField'
seen 10
kill -INT "$capture"
wait "$capture" || fail "tshark: $(cat "$dir/tshark.txt")"

# fields <filter> <field>: what is dissected of the packets, a value each. To be assigned, so that a failure ends this.
fields() {
    tshark -r "$dir/packets.pcap" -Y "$1" -T fields -E occurrence=a -E aggregator=, -e "$2" >"$dir/values.txt" \
        2>"$dir/tshark.txt" || fail "tshark: $(cat "$dir/tshark.txt")"
    tr , '\n' <"$dir/values.txt" | sed '/^$/d'
}

# A byte alone is what the readers wake their own sockets with.
others=$(fields '!rtps && !icmp && udp.length != 9 && udp.dstport > 10' frame.protocols)
[ -z "$others" ] || fail "these are no packets of DDS: $others"
complaints=$(fields 'rtps && (_ws.malformed || _ws.expert.severity >= 0x400000)' _ws.expert.message)
[ -z "$complaints" ] || fail "tshark objects: $complaints"

ours='rtps.vendorId == 0x0110'
names=$(fields "$ours" rtps.param.topicName && fields "$ours" rtps.param.typeName)
for name in ros_discovery_info rt/tf_static rt/diagnostics rt/camera/depth/image_raw rt/camera/color/camera_info \
    sensor_msgs::msg::dds_::Image_ sensor_msgs::msg::dds_::CameraInfo_ sensor_msgs::msg::dds_::PointCloud2_ \
    tf2_msgs::msg::dds_::TFMessage_ diagnostic_msgs::msg::dds_::DiagnosticArray_; do
    grep -qxF "$name" <<<"$names" || fail "$name is not announced"
done
# What endpoints say of themselves: the versions of their types, and which reader and writer are one service.
said=$(fields "$ours" rtps.param.userData | tr -d : | sort -u | sed 's/../\\x&/g' | while read -r bytes; do
    printf '%b\n' "$bytes"
done)
for text in 'enclave=/;' 'typehash=RIHS01_d31d41a9a4c4bc8eae9be757b0beed306564f7526c88ea6a4588fb9582527d47;' \
    'typehash=RIHS01_043e627780fcad87a22d225bc2a037361dba713fca6a6b9f4b869a5aa0393204;'; do
    grep -qxF "$text" <<<"$said" || fail "nobody says $text"
done
service=$(grep -oE '^serviceid=([0-9a-f]{1,2}\.){15}[0-9a-f]{1,2};typehash=RIHS01_d0108253[0-9a-f]{56};$' <<<"$said" | cut -d';' -f1)
[ -n "$service" ] || fail "no reader of the trigger's requests says which service it is of"
grep -qE "^$service;typehash=RIHS01_2d946c21[0-9a-f]{56};\$" <<<"$said" || fail "no writer of its replies is of $service"
# Writers without a key (their numbers end in 3) send plain little-endian CDR, and describe no types.
kinds=$(fields "$ours && rtps.sm.id == 0x15 && rtps.sm.wrEntityId.entityKind == 0x03" rtps.param.serialize.encap_kind)
[ "$(sort -u <<<"$kinds")" = 0x0001 ] || fail "messages are encapsulated as: $kinds"
pieces=$(fields "$ours && rtps.sm.id == 0x16" frame.number)
[ "$(wc -l <<<"$pieces")" -gt 10 ] || fail "no message was sent in pieces"
described=$(fields "$ours && rtps.param.id == 0x0075" frame.number)
[ -z "$described" ] || fail "types are described, as ROS 2 does not"
echo "passed"
