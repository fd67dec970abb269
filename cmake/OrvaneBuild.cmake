# How every target of the project is compiled: language level, warnings, sanitizers and the
# options that a builder may set.

option(ORVANE_WERROR "Treat compiler warnings as errors (CI does)" OFF)
option(ORVANE_SANITIZE "Instrument with the address and undefined-behaviour sanitizers" OFF)
option(ORVANE_FUZZ "Make the programs of fuzz/ fuzzers, with what they link instrumented (clang only)" OFF)
option(ORVANE_TSAN "Instrument with the thread sanitizer, which goes with no other" OFF)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

# Not -O3, CMake's own choice: the daemon waits most of the time, and its code was a fifth larger
# with it and no faster.
string(REPLACE "-O3" "-O2" CMAKE_CXX_FLAGS_RELEASE "${CMAKE_CXX_FLAGS_RELEASE}")

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_AUTOMOC ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")

# Log lines carry the source file; readers want its place in the tree, not on the build machine.
add_compile_options(-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)

# Everything that the options above and below say reaches a target through this one.
add_library(orvane-build INTERFACE)
target_include_directories(orvane-build INTERFACE "${PROJECT_SOURCE_DIR}/src")
target_compile_options(orvane-build INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
    $<$<BOOL:${ORVANE_WERROR}>:-Werror>)
target_compile_definitions(orvane-build INTERFACE
    # Release builds would otherwise drop file, line and function from log lines.
    QT_MESSAGELOGCONTEXT
    QT_NO_CAST_FROM_ASCII
    QT_NO_CAST_TO_ASCII
    QT_NO_FOREACH
    QT_NO_SIGNALS_SLOTS_KEYWORDS)

# What ships is hardened as the distribution hardens its own: whoever finds a fault in the daemon shall
# find it hard to use. In the files, tests/packages looks for each. Not with a debugger's build, where
# nothing is optimised and so nothing is fortified, nor with the sanitizers, which watch the same places.
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
include(CheckPIESupported)
check_pie_supported()
if(NOT ORVANE_SANITIZE AND NOT ORVANE_TSAN)
    set(hardening
        # A compiler may define it by itself.
        -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2
        -fstack-protector-strong
        -fstack-clash-protection
        -Wformat -Werror=format-security)
    # Where calls and jumps may lead: each flag is for one processor.
    include(CheckCXXCompilerFlag)
    foreach(flag IN ITEMS -fcf-protection -mbranch-protection=standard)
        string(MAKE_C_IDENTIFIER "ORVANE_KNOWS${flag}" known)
        check_cxx_compiler_flag(${flag} ${known})
        if(${known})
            list(APPEND hardening ${flag})
        endif()
    endforeach()
    set(ships $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
    add_compile_options("$<${ships}:${hardening}>")
    add_link_options("$<${ships}:-Wl,-z,relro,-z,now,-z,noexecstack>")
endif()

if(ORVANE_SANITIZE)
    # A report needs functions and lines, which -g1 keeps at three quarters of the cost of -g.
    string(REGEX REPLACE "-g( |$)" "-g1\\1" CMAKE_CXX_FLAGS_DEBUG "${CMAKE_CXX_FLAGS_DEBUG}")
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined
                        -fno-omit-frame-pointer)
    # Several sources are compiled as one here, and the compiler takes them for headers.
    add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
    add_link_options(-fsanitize=address,undefined)
    # There are over a hundred programs to link, and this linker takes a quarter of the time.
    find_program(ORVANE_LLD ld.lld)
    if(ORVANE_LLD)
        add_link_options(-fuse-ld=lld)
    endif()
endif()

if(ORVANE_FUZZ)
    # Coverage of everything, so that the fuzzer sees which input led where; the fuzzer itself is linked
    # into the programs of fuzz/ only.
    add_compile_options(-fsanitize=fuzzer-no-link)
    add_link_options(-fsanitize=fuzzer-no-link)
endif()

if(ORVANE_TSAN)
    if(ORVANE_SANITIZE)
        message(FATAL_ERROR "ORVANE_SANITIZE and ORVANE_TSAN exclude each other")
    endif()
    add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
    add_link_options(-fsanitize=thread)
endif()
