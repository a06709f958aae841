# Shell functions that ./run and scripts/check.sh share. Sourced, not run; expects $root, the folder of
# the repository, and "set -euo pipefail".
# shellcheck shell=bash disable=SC2154 # root comes from the sourcing script

log_dir="$root/build/logs"
jobs=$(nproc 2>/dev/null || echo 2)
export LC_ALL=C.UTF-8
unset OX3D_PROVIDER OX3D_RGBD_DATA_DIR # what a user has set for programs is not meant for tests and measurements

# For programs under the sanitizers. The look for leaks may not ask where the thread-locals of libraries loaded by hand
# lie: g++ 12's guesses that from the words before them, and faults in one of 256 places that a block may get, which
# depends on what the program allocated before, down to the length of the checkout's path.
sanitizer_options() {
    export ASAN_OPTIONS=detect_leaks=1:detect_stack_use_after_return=1:strict_string_checks=1:intercept_tls_get_addr=0
    export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
}

say() { printf '%s\n' "$*"; }
fail() {
    printf 'error: %s\n' "$*" >&2
    exit 1
}

# findings_of <log>: the cases and findings that a log of tests or of a build ends in, in a few lines.
findings_of() {
    grep -aE -A6 ': Failure$|: error: |^error: |^complaint: |runtime error: |ERROR: |LeakSanitizer has|WARNING: ThreadSanitizer|^SUMMARY: ' "$1" | cut -c1-200 |
        head -n 24
    grep -aE '^\[  FAILED  \] [^ ]+( \(|$)' "$1" | sort -u | head -n 8
}

# step <log name> <what> <command...>: one line when it went well; the end of the log when it did not.
step() {
    local log="$log_dir/$1.log" what="$2" start=$SECONDS status=0
    shift 2
    mkdir -p "$log_dir"
    printf '%s ... ' "$what"
    "$@" >"$log" 2>&1 </dev/null || status=$?
    if [ "$status" -eq 0 ]; then
        printf 'done (%d s)\n' $((SECONDS - start))
        return 0
    fi
    printf 'FAILED (exit code %d)\n' "$status"
    tail -n 80 "$log" | sed 's/^/    /'
    say "the whole log: ${log#"$root"/}"
    return "$status"
}

# packages_of <group...>: the names of scripts/packages.txt in these groups.
packages_of() {
    local group
    for group in "$@"; do
        awk -v group="$group" '$1 == group { print $2 }' "$root/scripts/packages.txt"
    done
}

# missing_packages <group...>: those of them that are not installed, asked of the package data base.
missing_packages() {
    local name state
    for name in $(packages_of "$@"); do
        # "pkg" and "pkg:amd64" both answer; a package that dpkg never heard of makes dpkg-query fail.
        state=$(dpkg-query -W -f='${db:Status-Status}\n' "$name" 2>/dev/null | head -n 1 || true)
        [ "$state" = installed ] || printf '%s\n' "$name"
    done
}

# as_root <command...>: directly, or through sudo.
as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    else
        sudo "$@"
    fi
}

apt_get() {
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -o Acquire::Retries=3 -o DPkg::Lock::Timeout=300 "$@"
}

# ensure_node_modules: what npm brings, as each lock file says: the readers of others that tests hold recordings to, what
# drives a browser in tests, and what the viewer's page is built with. A machine may have node and npm from elsewhere than
# Debian.
ensure_node_modules() {
    node_modules tests/recording/third-party node "the readers that recordings are tested with" &&
        node_modules tests/viewer node-browser "what drives a browser in tests" &&
        node_modules viewer/page node-page "what the viewer's page is built with"
}

# node_modules <folder of the lock file> <folder in build> <what>
node_modules() {
    local from="$root/$1" to="$root/build/$2"
    cmp -s "$from/package-lock.json" "$to/installed.json" && return 0
    if ! command -v node >/dev/null || ! command -v npm >/dev/null; then
        ensure_packages node || return 1
    fi
    mkdir -p "$to"
    cp "$from/package.json" "$from/package-lock.json" "$to" || return 1
    step "npm-$2" "installing $3" npm --prefix "$to" ci --ignore-scripts --no-audit --no-fund || return 1
    cp "$from/package-lock.json" "$to/installed.json"
}

# ensure_packages <group...>: installs what is missing, naming it.
ensure_packages() {
    case " $* " in *" test "* | *" package "*) ensure_node_modules || return 1 ;; esac
    if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
        say "This is no Debian system: the packages that Debian calls"
        say "    $(packages_of "$@" | tr '\n' ' ')"
        say "are taken to be installed."
        return 0
    fi
    local missing
    missing=$(missing_packages "$@" | tr '\n' ' ')
    [ -n "$missing" ] || return 0
    say "Missing packages: $missing"
    if [ "$(id -u)" -ne 0 ] && ! command -v sudo >/dev/null; then
        fail "they need root to install: apt-get install $missing"
    fi
    step apt-update "reading the package lists" apt_get update || return 1
    # shellcheck disable=SC2086 # one word for each package
    step apt-install "installing them" apt_get install --yes --no-install-recommends $missing || return 1
    missing=$(missing_packages "$@" | tr '\n' ' ')
    [ -z "$missing" ] || fail "still missing after the installation: $missing"
}

# try_packages <group...>: installs what is missing, one by one; what cannot be installed is named and left out.
try_packages() {
    local missing name
    missing=$(missing_packages "$@" 2>/dev/null) || return 0
    [ -n "$missing" ] || return 0
    if ! command -v apt-get >/dev/null || { [ "$(id -u)" -ne 0 ] && ! command -v sudo >/dev/null; }; then
        say "Left out, since nothing can be installed here: $(tr '\n' ' ' <<<"$missing")"
        return 0
    fi
    step apt-update "reading the package lists" apt_get update || true
    for name in $missing; do
        step "apt-$name" "installing $name" apt_get install --yes --no-install-recommends "$name" ||
            say "Left out: $name"
    done
}

# tree_names: every file and folder of the repository but those of build products, one a line.
tree_names() {
    (cd "$root" && find . -mindepth 1 \( -path ./.git -o -path ./build -o -path ./out -o -path ./install \) -prune -o \
        ! -path ./compile_commands.json -printf '%P\n' | sort)
}

# keeps_tree <command...>: fails also when the command leaves a file of the repository changed, or a new one in it.
keeps_tree() {
    local before after status=0
    before=$(tree_state)
    "$@" || status=$?
    after=$(tree_state)
    if [ "$before" != "$after" ]; then
        diff <(printf '%s\n' "$before") <(printf '%s\n' "$after") | grep '^[<>]' || true
        say "^ the repository before (<) and after (>): not as it was"
        [ "$status" -ne 0 ] || status=1
    fi
    return "$status"
}

tree_state() {
    tree_names
    git -C "$root" status --porcelain 2>/dev/null || true
}

# build_reference: pages of the public headers' comments, in build/docs/html; fails for what is undocumented.
build_reference() {
    local version
    version=$(sed -n 's/^project(Ox3dRgbd VERSION \([0-9.]*\).*/\1/p' "$root/CMakeLists.txt")
    rm -rf "$root/build/docs"
    mkdir -p "$root/build"
    (cd "$root" && { cat docs/Doxyfile && echo "PROJECT_NUMBER = $version"; } | doxygen -)
}

# build_preset <preset> [target...]
build_preset() {
    local preset="$1"
    shift
    local targets=()
    [ $# -eq 0 ] || targets=(--target "$@")
    cd "$root" || return 1
    step "configure-$preset" "configuring $preset" cmake --preset "$preset" || return 1
    step "build-$preset" "building $preset" \
        cmake --build "build/$preset" --parallel "$jobs" "${targets[@]}"
}

# test_cases <build folder>: how many test cases ran inside the programs that CTest counts.
test_cases() {
    local log="$1/Testing/Temporary/LastTest.log"
    [ -f "$log" ] || return 0
    awk '/^\[  PASSED  \] [0-9]+ test/ { passed += $4 }
         /^\[  SKIPPED \] [0-9]+ test/ { skipped += $4 }
         /^\[  FAILED  \] [0-9]+ test/ { failed += $4 }
         /^[0-9]+ (passed|failed|skipped).* in [0-9.]+s/ { # pytest
             for (i = 2; i < NF; ++i) {
                 passed += $i ~ /^passed/ ? $(i - 1) : 0
                 failed += $i ~ /^failed/ ? $(i - 1) : 0
                 skipped += $i ~ /^skipped/ ? $(i - 1) : 0
             }
         }
         END { printf "Test cases inside them: %d passed, %d failed, %d skipped\n", passed, failed, skipped }' "$log"
}

# summary_of_tests <build folder> <log>: the closing lines of CTest and the count of cases.
summary_of_tests() {
    test_cases "$1"
    grep -E '^[0-9]+% tests passed|^Total Test time' "$2" || true
}

# own_files [pattern...]: the project's own files as git would commit them, one a line; without git all
# files outside the folders of build products.
own_files() {
    if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
        git ls-files --cached --others --exclude-standard -- "$@" | while IFS= read -r file; do
            [ ! -f "$file" ] || printf '%s\n' "$file"
        done
    else
        local pattern
        [ $# -gt 0 ] || set -- '*'
        for pattern in "$@"; do
            find . \( -path ./build -o -path ./out -o -path ./.git \) -prune -o -type f -path "./$pattern" -print
        done | sed 's|^\./||' | sort -u
    fi
}
