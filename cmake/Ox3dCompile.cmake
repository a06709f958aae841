# How every target of the project is compiled.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)

# One interface target carries warnings, the sanitizers and the root that includes are written from: an include
# begins with its module ("base/Mutex.h"), so that its line alone says what depends on what. Targets link it
# PRIVATE: none hands the root on. Warnings are errors in the presets (CMAKE_COMPILE_WARNING_AS_ERROR), not in
# builds with another compiler.
add_library(ox3d_compile INTERFACE)
target_include_directories(ox3d_compile INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_options(ox3d_compile INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wvla -Wformat=2 -Wformat-nonliteral -Wundef
    -Wcast-qual $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor> $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>
    -fno-strict-aliasing)
# A fused multiply-add rounds once where two operations round twice: results would depend on the machine.
target_compile_options(ox3d_compile INTERFACE -ffp-contract=off)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    target_compile_options(ox3d_compile INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Wthread-safety>)
endif()
# Hardening of what is shipped: a fault that a hostile camera or file might reach ends the process instead. All
# addresses are bound when an object is loaded, and are then read-only. Debug builds go without, since FORTIFY needs
# optimisation; sanitizers bring checks of their own in its place.
include(CheckPIESupported)
check_pie_supported()
if(NOT OX3D_SANITIZE) # with them g++ 12 gives a protected frame less than the alignment that its variables ask for
    set(hardened -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
    if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$")
        list(APPEND hardened -fcf-protection=full)
    endif()
    target_compile_options(ox3d_compile INTERFACE "$<$<NOT:$<CONFIG:Debug>>:${hardened}>")
endif()
target_link_options(ox3d_compile INTERFACE
    "$<$<NOT:$<CONFIG:Debug>>:LINKER:-z,relro;LINKER:-z,now;LINKER:-z,noexecstack>")
if(OX3D_SANITIZE)
    target_compile_options(ox3d_compile INTERFACE -fsanitize=${OX3D_SANITIZE} -fno-omit-frame-pointer
        -fno-sanitize-recover=all)
    target_link_options(ox3d_compile INTERFACE -fsanitize=${OX3D_SANITIZE})
endif()
if(OX3D_FUZZ)
    # What a fuzz target reaches tells libFuzzer where it has been.
    target_compile_options(ox3d_compile INTERFACE -fsanitize=fuzzer-no-link)
endif()

# ox3d_samples(<sources>...): loops over samples. To a fuzzer their comparisons are no words to guess; telling it each
# takes most of its time.
function(ox3d_samples)
    if(OX3D_FUZZ)
        set_property(SOURCE ${ARGN} APPEND PROPERTY COMPILE_OPTIONS -fno-sanitize-coverage=trace-cmp)
    endif()
endfunction()

# ox3d_tier(<SSE2|AVX2|AVX512|VBMI> <sources>...): kernels that are chosen at run time, compiled for a processor that
# has these instructions. Such a unit defines nothing that another unit may define, too, or the linker could
# take its copy for all: static functions only, and no templates of the standard library. Nothing reads the
# floating-point exception flags or errno after a square root, and without -fno-trapping-math and -fno-math-errno g++
# branches to keep them; values stay.
string(REGEX MATCH "^(x86_64|AMD64|amd64)$" OX3D_X86_TIERS "${CMAKE_SYSTEM_PROCESSOR}")
function(ox3d_tier tier)
    set(flags_SSE2)
    set(flags_AVX2 -mavx2)
    set(flags_AVX512 -mavx512f -mavx512bw -mavx512dq -mavx512vl -mprefer-vector-width=512)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # g++ 12 takes its own headers' "undefined" vectors for a mistake.
        list(APPEND flags_AVX512 -Wno-uninitialized -Wno-maybe-uninitialized)
    endif()
    set(flags_VBMI ${flags_AVX512} -mavx512vbmi -mavx512bitalg)
    set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS
        "$<$<NOT:$<CONFIG:Debug>>:-O3>;-fno-trapping-math;-fno-math-errno;${flags_${tier}}")
    ox3d_samples(${ARGN})
    if(NOT tier STREQUAL "SSE2") # what every processor has may be lent
        get_property(count GLOBAL PROPERTY OX3D_TIER_UNITS)
        list(LENGTH ARGN units)
        math(EXPR count "0${count} + ${units}")
        set_property(GLOBAL PROPERTY OX3D_TIER_UNITS ${count})
    endif()
endfunction()
