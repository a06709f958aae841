#!/usr/bin/env bash
# Runs the gates of "./run check": all of them, or those named as arguments, each in a shell of its own
# with its output kept in build/logs; ends with a table and fails when any gate failed. The gates
# themselves are in gates.sh.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
# shellcheck source=scripts/lib.sh
. "$root/scripts/lib.sh"
# shellcheck source=scripts/gates.sh
. "$root/scripts/gates.sh"

# Cheap ones first; the clang build stands before clang-tidy, which uses its list of compile commands. The last one
# looks at what the others have left behind.
gates=(format shell words links docs includes headers install package clang tidy asan-ubsan tsan fuzz soak tree)

describe() {
    case "$1" in
    format) say "sources are as clang-format 14 writes them" ;;
    shell) say "shell scripts pass shellcheck" ;;
    words) say "no path of a developer's machine, no open point outside the roadmap" ;;
    links) say "relative links of the documents lead somewhere" ;;
    docs) say "everything in the public headers is documented, to doxygen, log lines that a page explains exist, commands that pages show work, and examples in Python run" ;;
    includes) say "includes run one way through the modules" ;;
    headers) say "each public header compiles alone, C11 and C++17, gcc and clang; the C++ one without exceptions" ;;
    install) say "installed files and exported symbols are those of the lists, and every object is hardened" ;;
    package) say "packages and tarball build, keep the binary interface, work in a clean system, and go without a trace" ;;
    clang) say "builds with clang and its thread-safety analysis" ;;
    tidy) say "clang-tidy 14 has nothing to say" ;;
    asan-ubsan) say "tests under address and undefined-behaviour sanitizers" ;;
    tsan) say "threaded tests under the thread sanitizer" ;;
    fuzz) say "each fuzz target takes its seeds and a minute of made-up input" ;;
    soak) say "the long scenarios, shortened, with fixed seeds" ;;
    tree) say "the root holds what its list names, and programs have left nothing behind" ;;
    *) return 1 ;;
    esac
}

# One gate in this shell. Not called in a condition: that would switch "set -e" off inside it.
run_one() {
    describe "$1" >/dev/null || fail "no such gate: $1"
    "gate_${1//-/_}"
}

# Every gate is run, whatever the others said.
run_all() {
    local gate status started results=() failed=0
    for gate in "$@"; do
        describe "$gate" >/dev/null || fail "no such gate: $gate (./run check list)"
    done
    for gate in "$@"; do
        started=$SECONDS
        status=0
        step "gate-$gate" "$gate: $(describe "$gate")" bash "${BASH_SOURCE[0]}" --one "$gate" || status=$?
        if [ "$status" -eq 0 ]; then
            results+=("$(printf 'ok      %5d s  %s' $((SECONDS - started)) "$gate")")
        else
            results+=("$(printf 'FAILED  %5d s  %s' $((SECONDS - started)) "$gate")")
            failed=$((failed + 1))
        fi
    done
    say ""
    printf '%s\n' "${results[@]}"
    say "$(($# - failed)) of $# gates passed"
    [ "$failed" -eq 0 ]
}

case "${1:-}" in
list) for gate in "${gates[@]}"; do printf '%-11s %s\n' "$gate" "$(describe "$gate")"; done ;;
--one) run_one "$2" ;;
--format) format_sources ;;
"") run_all "${gates[@]}" ;;
*) run_all "$@" ;;
esac
