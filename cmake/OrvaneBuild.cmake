# How all targets are compiled: language level, warnings, sanitizers, and the options for a build.

option(ORVANE_WERROR "Treat compiler warnings as errors (CI does)" OFF)
option(ORVANE_SANITIZE "Instrument with the address and undefined-behaviour sanitizers" OFF)
option(ORVANE_FUZZ "Build the fuzzers of fuzz/ and instrument all code for them (clang only)" OFF)
option(ORVANE_TSAN "Instrument with the thread sanitizer (not together with the other sanitizers)" OFF)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

# -O2 instead of CMake's default -O3: the daemon waits most of the time, and with -O3 its code was a fifth
# larger and not faster.
string(REPLACE "-O3" "-O2" CMAKE_CXX_FLAGS_RELEASE "${CMAKE_CXX_FLAGS_RELEASE}")

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_AUTOMOC ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")

# Everything that the options above and below say reaches a target through this one.
add_library(orvane-build INTERFACE)
target_include_directories(orvane-build INTERFACE "${PROJECT_SOURCE_DIR}/src")
target_compile_options(orvane-build INTERFACE
    # Log lines have the source file's path in the tree, without the directory of the build machine.
    -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
    # For macros in the headers of Qt and systemd.
    "$<$<CXX_COMPILER_ID:Clang>:-Wno-c99-extensions;-Wno-gnu-zero-variadic-macro-arguments>"
    $<$<BOOL:${ORVANE_WERROR}>:-Werror>)
target_compile_definitions(orvane-build INTERFACE
    # Release builds would otherwise drop file, line and function from log lines.
    QT_MESSAGELOGCONTEXT
    QT_NO_CAST_FROM_ASCII
    QT_NO_CAST_TO_ASCII
    QT_NO_FOREACH
    QT_NO_SIGNALS_SLOTS_KEYWORDS)

# Release builds are hardened like Debian's own packages, so that a fault in the daemon is difficult to
# exploit; tests/packages checks this. Not in debug builds, because fortification needs optimisation, and not
# with sanitizers, which check the same things.
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
include(CheckPIESupported)
check_pie_supported()
if(NOT ORVANE_SANITIZE AND NOT ORVANE_TSAN)
    set(hardening
        # Some compilers define it by default.
        -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2
        -fstack-protector-strong
        -fstack-clash-protection
        -Wformat -Werror=format-security)
    # Control-flow protection. Each of the flags is for another processor architecture.
    include(CheckCXXCompilerFlag)
    foreach(flag IN ITEMS -fcf-protection -mbranch-protection=standard)
        string(MAKE_C_IDENTIFIER "ORVANE_KNOWS${flag}" known)
        check_cxx_compiler_flag(${flag} ${known})
        if(${known})
            list(APPEND hardening ${flag})
        endif()
    endforeach()
    set(ships $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
    target_compile_options(orvane-build INTERFACE "$<${ships}:${hardening}>")
    target_link_options(orvane-build INTERFACE "$<${ships}:-Wl,-z,relro,-z,now,-z,noexecstack>")
endif()

if(ORVANE_SANITIZE AND ORVANE_TSAN)
    message(FATAL_ERROR "ORVANE_SANITIZE and ORVANE_TSAN exclude each other")
endif()
if(ORVANE_SANITIZE OR ORVANE_TSAN)
    # A report needs functions and line numbers. -g1 has them and takes three quarters of the time of -g.
    string(REGEX REPLACE "-g( |$)" "-g1\\1" CMAKE_CXX_FLAGS_DEBUG "${CMAKE_CXX_FLAGS_DEBUG}")
    target_compile_options(orvane-build INTERFACE -fno-omit-frame-pointer)
    # Sanitizer builds compile several sources as one. GCC mistakes them for headers, and clang says that a
    # variable shadows one of another source.
    target_compile_options(orvane-build INTERFACE
        $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage> $<$<CXX_COMPILER_ID:Clang>:-Wno-shadow>)
    # lld links the more than one hundred programs in a quarter of the time.
    find_program(ORVANE_LLD ld.lld)
    if(ORVANE_LLD)
        target_link_options(orvane-build INTERFACE -fuse-ld=lld)
    endif()
endif()
if(ORVANE_SANITIZE)
    target_compile_options(orvane-build INTERFACE
        -fsanitize=address,undefined -fno-sanitize-recover=undefined)
    target_link_options(orvane-build INTERFACE -fsanitize=address,undefined)
endif()

if(ORVANE_FUZZ)
    # All code is instrumented, so that the fuzzer sees which code an input reaches. Only the programs of
    # fuzz/ link the fuzzer itself.
    target_compile_options(orvane-build INTERFACE -fsanitize=fuzzer-no-link)
    target_link_options(orvane-build INTERFACE -fsanitize=fuzzer-no-link)
endif()

if(ORVANE_TSAN)
    target_compile_options(orvane-build INTERFACE -fsanitize=thread)
    target_link_options(orvane-build INTERFACE -fsanitize=thread)
endif()
