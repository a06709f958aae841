#!/usr/bin/env bash
# callgrind.sh <ox3d_frame_path> <docs/performance.md> [--record]: counts the instructions of one frame on its way
# through the library and compares them with the table in the document; --record writes them there.
# Counts do not depend on load, so a change of the code shows. They depend on compiler, C library and tier: valgrind
# has no AVX-512, so the tier is at most AVX2 on every machine.
set -euo pipefail

program=$1
document=$2
mode=${3:-}
scripts=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
[ -z "$mode" ] || [ "$mode" = --record ] || {
    echo "no such option: $mode" >&2
    exit 2
}
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
cd "$dir"

# count <frames>: the profile of a process that delivers so many.
count() {
    valgrind --tool=callgrind --callgrind-out-file="frames.$1" "$program" "$1" >valgrind.log 2>&1 || {
        cat valgrind.log >&2
        exit 1
    }
    callgrind_annotate --threshold=100 --show-percs=no --inclusive=yes "frames.$1" >"inclusive.$1"
}

# instructions <frames> <function>: of the function with all that it calls; 0 where it is not called.
instructions() {
    awk -v name="$2" 'index($0, name) && $1 ~ /^[0-9,]+$/ { gsub(",", "", $1); print $1; found = 1; exit }
                      END { if (!found) print 0 }' "inclusive.$1"
}

# The first frames grow buffers and choose kernels: what ten more cost is ten frames.
count 2
count 12
per_frame() { echo $((($(instructions 12 "$1") - $(instructions 2 "$1")) / 10)); }

whole=$(per_frame 'CManager::ImageCallBack(')
rows=("whole frame|$whole")
rows+=("registration|$(per_frame 'CDepthConversion::Convert(')")
rows+=("scaling of the color image|$(per_frame 'CColorAligner::Align(')")
rows+=("interleave|$(per_frame 'InterleaveRgbd(')")
rows+=("copy of the color chunk|$(per_frame 'TakeChunkImage(')")
rest=$whole
for row in "${rows[@]:1}"; do
    rest=$((rest - ${row#*|}))
done
rows+=("everything else|$rest")

recorded() { sed -n "s/^| $1 | \([0-9]*\) |.*/\1/p" "$document" 2>/dev/null | head -n 1; }
print_table() {
    printf '| part of a frame | instructions |\n|---|---|\n'
    printf '| %s |\n' "${rows[@]//|/ | }"
}

for row in "${rows[@]}"; do
    before=$(recorded "${row%|*}")
    printf '%-30s %12d' "${row%|*}" "${row#*|}"
    if [ -n "$before" ] && [ "$before" -gt 0 ]; then
        awk -v now="${row#*|}" -v before="$before" 'BEGIN { printf "   recorded %12d   %+.1f %%", before, 100 * (now / before - 1) }'
    fi
    printf '\n'
done
if [ "$mode" = --record ]; then
    print_table >table.md
    bash "$scripts/record.sh" "$document" "instruction counts" table.md
fi
