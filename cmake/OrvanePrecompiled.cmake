# The framework's headers, compiled once for many targets: most of what a source costs to compile is
# reading them. A source still includes all that it uses, and clang-tidy reads it without this.
# -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON switches it off.

# orvane_precompile_headers(NAME LIBRARIES HEADER...) makes NAME, whose compiled headers others may use.
function(orvane_precompile_headers name libraries)
    set(source "${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp")
    file(CONFIGURE OUTPUT "${source}" CONTENT "// Compiled headers need a target with a source.\n")
    add_library(${name} OBJECT "${source}")
    set_target_properties(${name} PROPERTIES AUTOMOC OFF)
    target_link_libraries(${name} PRIVATE orvane-build ${libraries})
    target_precompile_headers(${name} PRIVATE ${ARGN})
endfunction()
