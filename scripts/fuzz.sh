#!/usr/bin/env bash
# The fuzz targets of build/fuzz, which list themselves in build/fuzz/fuzz/targets.txt.
#   fuzz.sh smoke                 all seeds of every target, then each for some time from its seeds alone, with a
#                                 fixed seed for the fuzzer: what "./run check fuzz" runs
#   fuzz.sh run TARGET OPTION...  one target on and on; what it finds is kept in out/fuzz/TARGET
#   fuzz.sh all [EXECUTIONS]      every target for so many executions, going on from what it has found before; ends
#                                 with rows for docs/reliability.md
# A run ends with an error when a target fails, and leaves the failing input in out/fuzz.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/lib.sh
. "$root/scripts/lib.sh"

programs="$root/build/fuzz/fuzz"
corpus="$root/fuzz/corpus"
out="$root/out/fuzz"
smoke_seconds=${OX3D_FUZZ_SECONDS:-60}
# Without the statistics of how rare each branch is: keeping them takes a quarter of a quick target's time.
limits=(-rss_limit_mb=2048 -malloc_limit_mb=512 -timeout=10 -print_final_stats=1 -entropic=0)

sanitizer_options
# An allocation that asks for more than it may get is refused, as by a system without memory; code that does not
# expect that is found.
ASAN_OPTIONS+=:allocator_may_return_null=1:max_allocation_size_mb=512
# What an input freed is kept from reuse beyond the input's end, not for hundreds of them; callers of an allocation that
# nobody will ask for need not be noted to the last. Both take more time than most readers.
ASAN_OPTIONS+=:quarantine_size_mb=16:malloc_context_size=6

# options_of <target>: its own options, one a line.
options_of() { awk -v name="$1" '$1 == name { for (i = 2; i <= NF; ++i) print $i }' "$programs/targets.txt"; }

# fuzz <target> <folder> <argument...>: in a working folder that is in memory where the system has such a place.
fuzz() {
    local target="$1" folder="$2" work options=() status=0
    shift 2
    mapfile -t options < <(options_of "$target")
    [ ! -f "$root/fuzz/dict/$target.dict" ] || options+=("-dict=$root/fuzz/dict/$target.dict")
    mkdir -p "$folder"
    work=$(mktemp -d -p "$([ -w /dev/shm ] && printf /dev/shm || printf '%s' "${TMPDIR:-/tmp}")" ox3d-fuzz.XXXXXX)
    (cd "$work" && TMPDIR=$work exec "$programs/bin/$target" "${limits[@]}" "${options[@]}" \
        "-artifact_prefix=$folder/" "$@") || status=$?
    rm -rf "$work"
    return "$status"
}

# figures <log>: executions and executions a second.
figures() {
    awk '/stat::number_of_executed_units/ { runs = $2 }
        /stat::average_exec_per_sec/ { rate = $2 }
        END { printf "%d %d\n", runs, rate }' "$1"
}

files_in() { find "$@" -type f | wc -l; }

# smoke <target>
smoke() {
    local target="$1" status=0 folder="$out/smoke/$1" runs rate
    rm -rf "$folder"
    mkdir -p "$folder/corpus"
    {
        [ -n "$(ls "$corpus/$target")" ] &&
            fuzz "$target" "$folder" -seed=1 -runs=0 "$corpus/$target" &&
            fuzz "$target" "$folder" -seed=1 "-max_total_time=$smoke_seconds" "$folder/corpus" "$corpus/$target"
    } >"$folder/log.txt" 2>&1 || status=$?
    if [ "$status" -ne 0 ]; then
        tail -n 60 "$folder/log.txt" | cut -c 1-200
        say "FAILED  $target (input and log: out/fuzz/smoke/$target)"
        return 1
    fi
    read -r runs rate < <(figures "$folder/log.txt")
    say "ok      $target: $runs executions, $rate a second, $(files_in "$corpus/$target") seeds"
}

# long <target> <executions>: prints a row of a table.
long() {
    local target="$1" status=0 folder="$out/$1" runs rate
    mkdir -p "$folder/corpus"
    fuzz "$target" "$folder" "-runs=$2" "$folder/corpus" "$corpus/$target" >"$folder/log.txt" 2>&1 || status=$?
    read -r runs rate < <(figures "$folder/log.txt")
    say "| $target | $runs | $rate | $(files_in "$folder/corpus" "$corpus/$target") | $([ "$status" -eq 0 ] &&
        printf none || printf 'out/fuzz/%s' "$target") |"
    return "$status"
}

case "${1:-}" in
list) cut -d' ' -f1 "$programs/targets.txt" ;;
smoke)
    [ -s "$programs/targets.txt" ] || fail "no fuzz targets"
    # Twice as many as there are processors: the gate's time is what it costs, a target's executions are not.
    bash "${BASH_SOURCE[0]}" list | xargs --max-args 1 --max-procs $((2 * jobs)) bash "${BASH_SOURCE[0]}" smoke-one
    ;;
smoke-one) smoke "$2" ;;
all)
    say "| target | executions | a second | inputs kept | failing inputs |"
    say "|---|---|---|---|---|"
    bash "${BASH_SOURCE[0]}" list |
        xargs --max-procs "$jobs" --replace={} bash "${BASH_SOURCE[0]}" all-one {} "${2:-10000000}"
    ;;
all-one) long "$2" "$3" ;;
run)
    target=$2
    [ -x "$programs/bin/$target" ] || fail "no such target: $target; there are: $(bash "${BASH_SOURCE[0]}" list | tr '\n' ' ')"
    mkdir -p "$out/$target/corpus"
    fuzz "$target" "$out/$target" "${@:3}" "$out/$target/corpus" "$corpus/$target"
    ;;
*) fail "usage: fuzz.sh list | smoke | run TARGET [OPTION...] | all [EXECUTIONS]" ;;
esac
