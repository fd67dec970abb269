# Finds the framework. Targets link it as Qt::Core, Qt::DBus and Qt::Test, whichever version it is.

set(ORVANE_QT 5 CACHE STRING "Major version of Qt to build with: 5 or 6")
set_property(CACHE ORVANE_QT PROPERTY STRINGS 5 6)
set(oldest_5 5.15)
set(oldest_6 6.4)
if(NOT DEFINED oldest_${ORVANE_QT})
    message(FATAL_ERROR "ORVANE_QT is \"${ORVANE_QT}\"; it must be 5 or 6")
endif()

# The version that qt_generate_moc() and the other functions without a version in their names are of.
set(QT_DEFAULT_MAJOR_VERSION ${ORVANE_QT})
find_package(Qt${ORVANE_QT} ${oldest_${ORVANE_QT}} REQUIRED COMPONENTS Core DBus)
if(BUILD_TESTING)
    find_package(Qt${ORVANE_QT} REQUIRED COMPONENTS Test)
    # Qt 6 also defines each target's folders, for a search for test data that is not used here. Targets with
    # different definitions cannot share precompiled headers.
    set_target_properties(Qt${ORVANE_QT}::Test PROPERTIES INTERFACE_COMPILE_DEFINITIONS QT_TESTLIB_LIB)
endif()
