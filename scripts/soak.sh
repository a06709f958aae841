#!/usr/bin/env bash
# soak.sh [--check] [--seed N] [SCENARIO...]: runs the scenarios of the program ox3d_soak, each in a process of its own,
# all of them unless some are named. At full length it writes a report to out/soak.md, or of those that are named to
# out/soak-SCENARIO.md.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
# shellcheck source=scripts/lib.sh
. "$root/scripts/lib.sh"

mode=() seed=1 names=() report=soak
while [ $# -gt 0 ]; do
    case "$1" in
    --check) mode=(--check) ;;
    --seed)
        seed="${2:?--seed needs a number}"
        shift
        ;;
    -*) fail "no such option: $1" ;;
    *) names+=("$1") report+="-$1" ;;
    esac
    shift
done

preset="${OX3D_SOAK_PRESET:-release}"
build_preset "$preset" ox3d_soak
program="$root/build/$preset/tests/bin/ox3d_soak"
[ ${#names[@]} -gt 0 ] || mapfile -t names < <("$program" "${mode[@]}")
mkdir -p "$log_dir" "$root/out"
# In memory where the system has such a place: a disk that others keep busy would make calls late. Processes that are
# killed leave their folders in it.
memory="${TMPDIR:-/tmp}"
[ ! -w /dev/shm ] || memory=/dev/shm
TMPDIR=$(mktemp -d -p "$memory" ox3d-soak.XXXXXX)
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT

rows=() failed=()
for name in "${names[@]}"; do
    log="$log_dir/soak-$name.log" status=0
    printf '%s ... ' "$name"
    command=("$program") cameras="$root/build/$preset/tests/doubles/full"
    if [[ "$name" == network-* ]]; then
        command=(bash "$root/scripts/private-network.sh" "$program")
        cameras="$root/build/$preset/lib/ox3drgbd/aravis"
    fi
    LD_LIBRARY_PATH="$cameras" "${command[@]}" "${mode[@]}" --seed "$seed" "$name" >"$log" 2>&1 </dev/null || status=$?
    row=$(tail -n 1 "$log" | grep -a '^| ' || true)
    if [ "$status" -eq 77 ]; then
        row="| $name | | | | | left out: this machine gives out no private network |"
    elif [ "$status" -ne 0 ]; then
        failed+=("$name: $(grep -a '^complaint' "$log" | head -n 1 || tail -n 1 "$log")")
        grep -a '^complaint' "$log" | head -n 5 || true
        row=${row:-"| $name | | | | | ended with $status |"}
    fi
    say "$row"
    rows+=("$row")
done

if [ ${#mode[@]} -eq 0 ]; then
    {
        echo "| scenario | count | faults that happened | seconds | largest memory, MiB | result |"
        echo "|---|---|---|---|---|---|"
        printf '%s\n' "${rows[@]}"
        echo
        echo "$(date -u +%Y-%m-%d), seed $seed, $preset, $(nproc) processors: $(sed -n 's/^model name\s*: //p' /proc/cpuinfo |
            head -n 1), $(uname -sr)"
    } >"$root/out/$report.md"
    say "Written to $root/out: $report.md"
fi
[ ${#failed[@]} -eq 0 ] || fail "${#failed[@]} of ${#names[@]} scenarios failed; their output is in build/logs
$(printf '%s\n' "${failed[@]}")"
