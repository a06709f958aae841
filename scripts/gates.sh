# The gates, one function each, and what they share. Sourced by check.sh, which runs every gate in a shell
# of its own with "set -e", in the repository's root: the first failing command fails the gate.
# shellcheck shell=bash disable=SC2154 # root and jobs come from the sourcing script

llvm_version=14

# llvm_tool <name>: the tool in exactly the version that the project is formatted and checked with. Another
# version formats and warns differently, so it is an error and never a reason to skip.
llvm_tool() {
    local tool version
    tool=$(command -v "$1-$llvm_version" || command -v "$1" || true)
    [ -n "$tool" ] || fail "$1 $llvm_version is not installed (./run setup check)"
    version=$("$tool" --version | grep -oE 'version [0-9]+' | head -n 1 | cut -d' ' -f2)
    [ "$version" = "$llvm_version" ] || fail "$1 $llvm_version is needed, this is version $version: $tool"
    printf '%s\n' "$tool"
}

own_sources() { own_files '*.h' '*.hpp' '*.c' '*.cpp'; }

own_scripts() {
    local file first
    own_files | while IFS= read -r file; do
        first=""
        [ ! -x "$file" ] || IFS= read -r -n 64 first <"$file" || true
        if [[ "$file" == *.sh || "$first" =~ ^#!.*sh ]]; then
            printf '%s\n' "$file"
        fi
    done
}

format_sources() {
    local tool
    tool=$(llvm_tool clang-format)
    own_sources | xargs --delimiter '\n' --no-run-if-empty "$tool" -i
}

gate_format() {
    local tool
    tool=$(llvm_tool clang-format)
    [ -n "$(own_sources)" ] || fail "no sources found"
    own_sources | xargs --delimiter '\n' "$tool" --dry-run --Werror
}

gate_shell() {
    [ -n "$(own_scripts)" ] || fail "no scripts found"
    own_scripts | xargs --delimiter '\n' shellcheck --external-sources
}

# matches <pattern>: prints the lines of own text files that match; succeeds when there are any.
matches() {
    local lines
    lines=$(own_files | xargs --delimiter '\n' grep -nIE -e "$1" /dev/null || true)
    [ -n "$lines" ] && printf '%s\n' "$lines"
}

# Paths of one machine betray themselves by a home folder or by the place of this very checkout.
gate_words() {
    local found=0 first before='(^|[[:space:]"'"'"'(=:`<])'
    local patterns="$before/(home|root|Users)/[A-Za-z0-9_.]|$root/"
    first=${root#/}
    first=${first%%/*}
    case "$first" in
    home | root | tmp | usr | var | opt | srv | mnt | src | "") ;;
    *) patterns+="|$before/$first(/|[^A-Za-z0-9_.-]|\$)" ;;
    esac
    if matches "$patterns"; then
        say "^ paths of one machine"
        found=1
    fi
    # An open point in a source is fine when its line says where docs/roadmap.md keeps it.
    if matches '\b(TODO|FIXME|XXX|HACK)\b' | grep -vE '^scripts/gates\.sh:|docs/roadmap\.md'; then
        say "^ open points that docs/roadmap.md does not know"
        found=1
    fi
    if matches '^(<<<<<<<|>>>>>>>) '; then
        say "^ conflict markers"
        found=1
    fi
    local binary
    binary=$(own_sources | xargs --delimiter '\n' grep -laP '\x00' || true)
    if [ -n "$binary" ]; then
        say "$binary"
        say "^ no text: NUL bytes in a source"
        found=1
    fi
    [ "$found" -eq 0 ]
}

# Relative links of the documents lead to files that exist.
gate_links() {
    local document target found=0
    while IFS= read -r document; do
        while IFS= read -r target; do
            [ -e "$(dirname "$document")/$target" ] && continue
            say "$document: no such file: $target"
            found=1
        done < <(awk '/^```/ { isCode = !isCode; next } !isCode' "$document" | grep -oE '\]\([^)#]+' | sed 's/^](//' | grep -vE '^[a-z]+:' || true)
    done < <(own_files '*.md')
    [ "$found" -eq 0 ]
}

# Whatever a public header declares is documented, as the documentation's own tool understands it.
gate_docs() {
    build_reference
    [ -s build/docs/html/index.html ]
    # Lines of the log that a page explains are those of the sources; "..." stands for what differs.
    # shellcheck disable=SC2016 # the backticks are the page's
    local line piece lines=0 found=0 code='s/^| `\(\[[^`]*\)`.*/\1/p'
    while IFS= read -r line; do
        lines=$((lines + 1))
        while IFS= read -r piece; do
            if [ "${#piece}" -ge 4 ] && ! grep -rqF -e "$piece" src; then
                say "docs/troubleshooting.md: no line of the log has: $piece"
                found=1
            fi
        done <<<"${line//.../$'\n'}"
    done < <(sed -n "$code" docs/troubleshooting.md)
    [ "$lines" -gt 10 ] && [ "$found" -eq 0 ]
    bash scripts/document-commands.sh
    # The tests leave out examples of packages that are not installed; here none is.
    build_preset release
    OX3D_ALL_EXAMPLES=1 ctest --test-dir build/release -R '^python_test_examples$' --output-on-failure --no-tests=error
}

# Each line of the rules names files and what they may include. An include with quotes is the project's own and
# written from its root.
gate_includes() {
    local files allowed own known="" checked=0 found=0 include='^[[:space:]]*#[[:space:]]*include[[:space:]]*'
    while read -r files allowed; do
        files=${files%:}
        known+="|$files"
        own=$(own_sources | grep -E "^$files" | xargs --delimiter '\n' --no-run-if-empty grep -HnE \
            "$include(\"|<ox3drgbd/)" | sed -E 's/include[[:space:]]*["<]([^">]*).*/include \1/' || true)
        checked=$((checked + $(grep -c . <<<"$own" || true)))
        if grep -vE "include ($files${allowed:+|${allowed// /|}})|^$" <<<"$own"; then
            say "^ $files may include from: ${allowed:-nowhere else}"
            found=1
        fi
    done < <(listed scripts/include-rules.txt)
    if own_sources | grep -vE "^(${known#|})"; then
        say "^ under no rule"
        found=1
    fi
    # The root is an include path of the project's own targets, through ox3d_compile, and of no target that uses them.
    local handed='(PUBLIC|INTERFACE) (?:(?!PRIVATE).)*ox3d_compile'
    handed+='|include_directories\((?!ox3d_compile )[^)]*PROJECT_SOURCE_DIR'
    if own_files '*CMakeLists.txt' '*.cmake' | xargs --delimiter '\n' grep -HnP "$handed"; then
        say "^ hands on an include path that holds the whole repository"
        found=1
    fi
    say "$checked includes"
    [ "$found" -eq 0 ] && [ "$checked" -gt 0 ]
}

# What lies at the root of the repository is known, and what git ignores lies in the folders of build products:
# test runs and programs leave nothing behind. "./run test" and the gates that run tests look at the whole tree.
gate_tree() {
    local status=0
    tree_names | cut -d/ -f1 | sort -u >build/check-top-level.txt
    same_list "names at the root" scripts/top-level.txt build/check-top-level.txt || status=1
    if git status --porcelain --ignored 2>/dev/null | grep '^!! ' |
        grep -vE '^!! (build|out|install|compile_commands\.json)/?$'; then
        say "^ left behind by a program"
        status=1
    fi
    return "$status"
}

gate_headers() {
    local dir header name compiler
    dir=$(mktemp -d)
    # shellcheck disable=SC2064 # the folder's name is wanted now
    trap "rm -rf '$dir'" EXIT
    local warnings=(-Wall -Wextra -Wpedantic -Wshadow -Wundef -Werror -fsyntax-only)
    for header in include/ox3drgbd/*.h; do
        name=${header##*/}
        printf '#include <ox3drgbd/%s>\nextern int ox3dAlone;\n' "$name" >"$dir/alone.c"
        printf '#include "%s"\nextern int ox3dAlone;\n' "$name" >"$dir/alone.cpp"
        for compiler in gcc clang; do
            say "$compiler -std=c11 $name"
            "$compiler" -std=c11 "${warnings[@]}" -Wstrict-prototypes -I include "$dir/alone.c"
        done
        for compiler in g++ clang++; do
            say "$compiler -std=c++17 $name"
            "$compiler" -std=c++17 "${warnings[@]}" -I include/ox3drgbd "$dir/alone.cpp"
        done
    done
    # The C++ header in programs that use it, since templates are judged where they are used.
    for compiler in g++ clang++; do
        for name in -std=c++17 -std=c++20 "-std=c++17 -fno-exceptions -fno-rtti"; do
            say "$compiler $name ox3d.hpp"
            # shellcheck disable=SC2086 # options
            "$compiler" $name -Wconversion "${warnings[@]}" -I include -c examples/*.cpp
        done
    done
    rm -rf "$dir"
}

# exported_symbols <library>: names it defines for others, sorted, without version suffixes.
exported_symbols() { nm -D --defined-only --format=posix "$1" | awk '{ sub(/@.*/, "", $1); print $1 }' | sort -u; }

# listed <file>: the entries of one of the lists in scripts/, sorted, without comments.
listed() { grep -vE '^(#|$)' "$1" | sort; }

# same_list <what> <list> <found>: both lists on the lines that differ, < is missing and > is too much.
same_list() {
    if diff <(listed "$2") "$3" | grep '^[<>]'; then
        say "^ $1 differ from $2: < is missing, > is not in the list"
        return 1
    fi
}

# unhardened <object>: what it lacks of the hardening that cmake/Ox3dCompile.cmake asks for, a line each. FORTIFY turns
# prints that it cannot prove right into checked ones; control-flow protection begins what others may call with endbr64.
unhardened() {
    local headers dynamic imports entries=main
    headers=$(readelf -hlW "$1")
    dynamic=$(readelf -dW "$1")
    imports=$(nm -D --undefined-only --format=posix "$1" | sed 's/[@ ].*//')
    [[ $1 == *.so ]] && entries=$(nm -D --defined-only "$1" | awk '$2 == "T" { sub(/@.*/, "", $3); print $3 }')
    { grep -q GNU_RELRO <<<"$headers" && grep -q BIND_NOW <<<"$dynamic"; } || say "full RELRO"
    grep -E 'GNU_STACK.* RW ' <<<"$headers" >/dev/null || say "a stack that is not executable"
    grep -q 'Type: *DYN' <<<"$headers" || say "independence of its position"
    grep -qx __stack_chk_fail <<<"$imports" || say "the stack protector"
    ! grep -q printf <<<"$imports" || grep -qE '^__v?s?n?f?printf_chk$' <<<"$imports" || say "_FORTIFY_SOURCE"
    [ "$(uname -m)" = x86_64 ] || return 0
    objdump -d --no-show-raw-insn "$1" | awk -v entries="$entries" '
        BEGIN { split(entries, names, "\n"); for (i in names) wanted["<" names[i] ">:"] = 1 }
        isEntry { bare += !/endbr64/; isEntry = 0 }
        $2 in wanted { isEntry = 1; ++found }
        END { exit bare > 0 || found == 0 }' || say "control-flow protection"
}

gate_install() {
    local prefix="$root/build/check/prefix" status=0 library version
    build_preset release
    version=$(sed -n 's/^CMAKE_PROJECT_VERSION:.*=//p' build/release/CMakeCache.txt)
    rm -rf "$prefix"
    cmake --install build/release --prefix "$prefix"
    (cd "$prefix" && find . \( -type l -printf '%P -> %l\n' \) -o \( -type f -printf '%P\n' \)) |
        sort >"$root/build/check/layout.txt"
    sed -i "s/\.$version\$/.VERSION/; s/\.${version%%.*}\( \|\$\)/.MAJOR\1/" build/check/layout.txt
    same_list "installed files" scripts/install-layout.txt build/check/layout.txt || status=1

    exported_symbols "$prefix/lib/libOx3dRgbd.so" >build/check/exports.txt
    same_list "exports of libOx3dRgbd.so" scripts/exports.txt build/check/exports.txt || status=1
    exported_symbols "$prefix/lib/libMediaProcess.so" >build/check/exports-media.txt
    same_list "exports of libMediaProcess.so" scripts/exports-media.txt build/check/exports-media.txt || status=1
    exported_symbols "$prefix/lib/libox3d-recording.so" >build/check/exports-recording.txt
    same_list "exports of libox3d-recording.so" scripts/exports-recording.txt build/check/exports-recording.txt ||
        status=1
    for library in "$prefix"/lib/ox3drgbd/*/libOxCameraControl.so; do
        exported_symbols "$library" >build/check/exports-provider.txt
        same_list "exports of ${library#"$prefix"/}" scripts/exports-provider.txt build/check/exports-provider.txt ||
            status=1
    done

    # By it a program that is linked with the library finds real cameras with nothing set.
    library="$prefix/lib/libOx3dRgbd.so"
    # shellcheck disable=SC2016 # the dynamic linker expands it
    readelf -d "$library" | grep -F '(RUNPATH)' | grep -F '[$ORIGIN:$ORIGIN/ox3drgbd/aravis]' || {
        say "^ run path of libOx3dRgbd.so"
        status=1
    }
    # A run path into the build tree would make an installed file work on the machine that built it only.
    for library in "$prefix"/lib/*.so "$prefix"/lib/ox3drgbd/*/*.so "$prefix"/bin/*; do
        if readelf -d "$library" | grep -E '\((RPATH|RUNPATH)\)' | grep -F "$root"; then
            say "^ run path of ${library#"$prefix"/}"
            status=1
        fi
        if unhardened "$library" | grep .; then
            say "^ missing in ${library#"$prefix"/}"
            status=1
        fi
    done
    return "$status"
}

# Built as a packager does: no preset, the default generator, a multiarch library folder.
gate_package() {
    bash scripts/package.sh
    bash scripts/package-check.sh
}

gate_clang() { build_preset clang; }

gate_tidy() {
    local tool database=build/clang/compile_commands.json
    tool=$(llvm_tool clang-tidy)
    if [ -f "$database" ]; then
        cmake build/clang >/dev/null # else a file that is new since then is judged without its options
    else
        build_preset clang
    fi
    # The files of the data base that are ours: everything outside the build folder.
    sed -n 's/^ *"file": "\(.*\)",\{0,1\}$/\1/p' "$database" | sort -u |
        grep -F "$root/" | grep -vF "$root/build/" >build/check-tidy-files.txt
    [ -s build/check-tidy-files.txt ] || fail "no sources in $database"
    # One file a process; only what clang-tidy objects to is printed, in one piece.
    # shellcheck disable=SC2016 # expanded by the inner shell
    xargs --delimiter '\n' --max-args 1 --max-procs "$jobs" \
        bash -c 'out=$("$1" -p build/clang --quiet "$2" 2>&1) || { printf "%s\n" "$out"; exit 1; }' tidy "$tool" \
        <build/check-tidy-files.txt
}

# sanitized_tests <preset> <target> [ctest options...]
sanitized_tests() {
    local preset="$1" target="$2" status=0
    shift 2
    build_preset "$preset" "$target"
    keeps_tree ctest --test-dir "build/$preset" --output-on-failure --no-tests=error \
        --parallel "$jobs" "$@" | tee "build/$preset/tests.log" || status=$?
    summary_of_tests "build/$preset" "build/$preset/tests.log"
    return "$status"
}

gate_asan_ubsan() {
    sanitizer_options
    sanitized_tests asan-ubsan all
}

gate_tsan() {
    # The thread sanitizer's shadow memory collides with widely randomised addresses; where the machine lets it,
    # randomisation is off for the tests, and for the build, which asks test programs for their cases.
    if [ -z "${OX3D_PLAIN_ADDRESSES:-}" ] && setarch "$(uname -m)" -R true 2>/dev/null; then
        OX3D_PLAIN_ADDRESSES=1 exec setarch "$(uname -m)" -R bash scripts/check.sh --one tsan
    fi
    export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
    sanitized_tests tsan ox3d_threaded_tests -L threaded
}

gate_fuzz() {
    build_preset fuzz ox3d_fuzz_targets
    bash scripts/fuzz.sh smoke
}

gate_soak() { bash scripts/soak.sh --check; }
