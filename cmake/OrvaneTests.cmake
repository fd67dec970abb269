# Test executables: one per source file, all run by ctest under a label.

find_package(Qt5 5.15 REQUIRED COMPONENTS Test)

option(ORVANE_FORBID_SKIPS "A test that skips any of its cases fails (CI does)" OFF)

# orvane_add_test(NAME LABEL LIBRARY... ) builds NAME.cpp of the current folder into a test
# program and registers it under LABEL (unit, component or system).
function(orvane_add_test name label)
    add_executable(${name} ${name}.cpp)
    set_target_properties(${name} PROPERTIES
        RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests/${label}")
    target_link_libraries(${name} PRIVATE ${ARGN} Qt5::Test)
    add_test(NAME ${label}/${name} COMMAND ${name})
    set_tests_properties(${label}/${name} PROPERTIES LABELS ${label} TIMEOUT 300)
    if(ORVANE_FORBID_SKIPS)
        set_tests_properties(${label}/${name} PROPERTIES FAIL_REGULAR_EXPRESSION "SKIP   : ")
    endif()
endfunction()
