# Compiles Qt's headers once for many targets, because reading them takes most of the time of compiling a
# source. Each source still includes everything that it uses, and clang-tidy reads it without precompiled
# headers. -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON switches them off.

# orvane_precompile_headers(NAME LIBRARIES HEADER...) adds the target NAME, whose precompiled headers other
# targets may reuse.
function(orvane_precompile_headers name libraries)
    set(source "${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp")
    file(CONFIGURE OUTPUT "${source}" CONTENT "// Precompiled headers need a target with a source.\n")
    add_library(${name} OBJECT "${source}")
    set_target_properties(${name} PROPERTIES AUTOMOC OFF)
    target_link_libraries(${name} PRIVATE orvane-build ${libraries})
    target_precompile_headers(${name} PRIVATE ${ARGN})
endfunction()
