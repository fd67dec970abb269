# Test programs: one for each source file. ctest runs them, each with a label.

# More than one folder includes this file.
if(NOT TARGET orvane-precompiled-for-tests)
    orvane_precompile_headers(orvane-precompiled-for-tests "Qt::DBus;Qt::Test" <QtCore> <QtDBus> <QtTest>)
endif()

option(ORVANE_FORBID_SKIPS "A test that skips any of its cases fails (CI does)" OFF)

# orvane_add_test(NAME LABEL LIBRARY...) builds NAME.cpp of the current folder as a test program and adds it
# to ctest with the label unit, component or system.
function(orvane_add_test name label)
    add_executable(${name} ${name}.cpp)
    # moc is called directly, because AUTOMOC takes a second for each of these programs.
    qt_generate_moc(${name}.cpp ${CMAKE_CURRENT_BINARY_DIR}/${name}.moc TARGET ${name})
    target_sources(${name} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${name}.moc)
    target_include_directories(${name} PRIVATE ${CMAKE_CURRENT_BINARY_DIR})
    set_target_properties(${name} PROPERTIES
        AUTOMOC OFF
        RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests/${label}")
    target_link_libraries(${name} PRIVATE ${ARGN} Qt::DBus Qt::Test)
    target_precompile_headers(${name} REUSE_FROM orvane-precompiled-for-tests)
    # Builds all of a label, and nothing that only others need.
    if(NOT TARGET ${label}-tests)
        add_custom_target(${label}-tests)
    endif()
    add_dependencies(${label}-tests ${name})
    add_test(NAME ${label}/${name} COMMAND ${name})
    set_tests_properties(${label}/${name} PROPERTIES LABELS ${label} TIMEOUT 300)
    if(ORVANE_FORBID_SKIPS)
        set_tests_properties(${label}/${name} PROPERTIES FAIL_REGULAR_EXPRESSION "SKIP   : ")
    endif()
endfunction()
