#!/usr/bin/env bash
# ros2-scale.sh <ox3d_ros2_scale> <module>: what each further camera and reader costs `ox3d ros2`, every one of them in a
# network of its own behind one switch. To be run in a network of its own, as root (scripts/private-network.sh).
# Prints rows: cameras, readers, images received, images expected, processor milliseconds for an image at the camera's host
# and at a reader's, and bytes sent by a camera's host and received by a reader's, for each byte of an image.
set -euo pipefail

program=$1
module=$2
images=${OX3D_SCALE_IMAGES:-40}
rate=${OX3D_SCALE_RATE:-5}
image_bytes=$((1280 * 720 * 2))
rows=${OX3D_SCALE_ROWS:-"1x1 1x2 1x4 1x8 2x1 4x1 2x2 4x4"}
dir=$(mktemp -d)
hosts=()

end_hosts() {
    [ ${#hosts[@]} -eq 0 ] || kill "${hosts[@]}" 2>/dev/null || true
    hosts=()
    wait
}
trap 'end_hosts; rm -rf "$dir"' EXIT

# Without snooping the switch passes multicast to all ports, as a plain one does.
ip link add switch type bridge mcast_snooping 0
ip link set switch up

# add_host: one more, with the address 10.0.0.(number).
add_host() {
    unshare -n sleep infinity &
    local process=$! number=$((${#hosts[@]} + 1))
    hosts+=("$process")
    until [ "$(readlink "/proc/$process/ns/net")" != "$(readlink /proc/self/ns/net)" ]; do sleep 0.05; done
    ip link add "port$number" type veth peer name eth0 netns "$process"
    ip link set "port$number" master switch up
    nsenter -t "$process" -n sh -c "ip link set lo up && ip addr add 10.0.0.$number/24 dev eth0 &&
        ip link set eth0 up && ip route add 224.0.0.0/4 dev eth0"
}

# bytes <number> <column>: what the port of the host with the number has received (2) or sent (10). The folder /sys shows
# another network.
bytes() { sed 's/:/ /' /proc/net/dev | awk -v port="port$1" -v column="$2" '$1 == port { print $column }'; }

measure() {
    local cameras=$1 readers=$2 total=$(($1 + $2)) names=() jobs=() i
    for ((i = 0; i < cameras; ++i)); do names+=("camera$i"); done
    for ((i = 0; i < total; ++i)); do add_host; done
    for ((i = 0; i < readers; ++i)); do
        nsenter -t "${hosts[cameras + i]}" -n "$program" read "$module" eth0 "$images" "${names[@]}" >"$dir/reader$i" &
        jobs+=($!)
    done
    for ((i = 0; i < cameras; ++i)); do
        nsenter -t "${hosts[i]}" -n "$program" publish "$module" eth0 "camera$i" "$readers" "$images" "$rate" \
            >"$dir/camera$i" &
        jobs+=($!)
    done
    wait "${jobs[@]}"
    local sent=0 got=0
    for ((i = 1; i <= cameras; ++i)); do sent=$((sent + $(bytes "$i" 2))); done
    for ((i = cameras + 1; i <= total; ++i)); do got=$((got + $(bytes "$i" 10))); done
    cat "$dir"/camera* >"$dir/cameras"
    cat "$dir"/reader* >"$dir/readers"
    awk -v cameras="$cameras" -v readers="$readers" -v images="$images" -v bytes="$image_bytes" -v sent="$sent" -v got="$got" '
        FILENAME ~ /cameras$/ { published += $2 }
        FILENAME ~ /readers$/ { received += $1; read += $2 }
        END {
            printf "%d %d %d %d %.2f %.2f %.3f %.3f\n", cameras, readers, received, cameras * readers * images,
                1000 * published / (cameras * images), received ? 1000 * read / received : 0,
                sent / (cameras * images * bytes), got / (cameras * readers * images * bytes)
        }' "$dir/cameras" "$dir/readers"
    end_hosts
    rm -f "$dir"/*
    for ((i = 1; i <= total; ++i)); do
        while [ -n "$(bytes "$i" 2)" ]; do sleep 0.1; done
    done
}

echo "# cameras readers received expected ms_camera ms_reader sent_per_byte received_per_byte"
for row in $rows; do
    measure "${row%x*}" "${row#*x}"
done
