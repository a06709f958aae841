#!/usr/bin/env bash
# Two hosts that no multicast joins: a reader finds the cameras where it names their host, and where theirs names the reader's.
# A command whose network interface is gone ends as ever.
# To be run in a network of its own, as root. Ends with 77 where the machine does not allow it.
# Usage: peers.sh <ros2_second_vendor_test> <ox3d> <provider>
set -euo pipefail

test=$1 tool=$2 provider=$3
dir=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null || true; wait; rm -rf "$dir"' EXIT
export OX3D_RGBD_DATA_DIR=$dir

unshare -n sleep infinity &
there=$!
until [ "$(readlink "/proc/$there/ns/net")" != "$(readlink /proc/self/ns/net)" ]; do sleep 0.05; done
ip link add eth0 multicast off type veth peer name eth0 netns "$there" 2>"$dir/error" || {
    echo "skipped: this machine joins no private networks: $(cat "$dir/error")"
    exit 77
}
ip addr add 10.0.0.1/24 dev eth0
ip link set eth0 up
nsenter -t "$there" -n sh -c "ip link set lo up && ip link set eth0 multicast off up && ip addr add 10.0.0.2/24 dev eth0"

publish() { exec "$tool" ros2 --provider "$provider" --interface eth0 --no-graph >"$dir/camera" 2>&1; }

# receive <host that the reader names> <the command's static peers>
receive() {
    ROS_STATIC_PEERS=$2 publish &
    local camera=$! result=0
    OX3D_TEST_PEER=$1 nsenter -t "$there" -n "$test" --gtest_also_run_disabled_tests \
        --gtest_filter='*AnImageComesFromAnotherHost' >"$dir/reader" 2>&1 || result=1
    kill -INT "$camera"
    wait "$camera" || result=1
    return $result
}

fail() {
    echo "failed: $1"
    cat "$dir/camera" "$dir/reader"
    exit 1
}

export OX3D_TEST_SECONDS=60
receive 10.0.0.1 "" || fail "a reader that names the camera's host gets no image"
receive "" 10.0.0.2 || fail "a camera's peer gets no image"
# Neither names the other: an image that comes then would come without peers, too.
! OX3D_TEST_SECONDS=3 receive "" 10.0.0.3 || fail "an image comes without peers"

publish &
camera=$!
until grep -q ': /' "$dir/camera"; do sleep 0.1; done
ip link del eth0
sleep 0.5
kill -INT "$camera"
wait "$camera" || fail "a command whose interface is gone ends with $?"
echo "passed"
