# GoogleTest from Debian's source package (or HOTKEY_GOOGLETEST_DIR elsewhere), built with the same compiler as the product.
set(HOTKEY_GOOGLETEST_DIR /usr/src/googletest CACHE PATH "Folder of GoogleTest's sources")
if(NOT EXISTS ${HOTKEY_GOOGLETEST_DIR}/CMakeLists.txt)
    message(FATAL_ERROR "GoogleTest's sources are not in ${HOTKEY_GOOGLETEST_DIR}: install the package googletest, "
        "or configure with -DHOTKEY_GOOGLETEST_DIR=<folder> or -DHOTKEY_TESTS=OFF.")
endif()
set(INSTALL_GTEST OFF)
set(gtest_force_shared_crt OFF)
add_subdirectory(${HOTKEY_GOOGLETEST_DIR} googletest EXCLUDE_FROM_ALL SYSTEM)
foreach(library gtest gmock gmock_main gtest_main)
    target_link_libraries(${library} PRIVATE hotkey_quiet)
endforeach()

include(GoogleTest)

# hotkey_add_test_program(name LABEL label SOURCES ... LIBRARIES ...)
# One GoogleTest program whose cases CTest runs one process each, so that process-wide state never leaks between cases.
function(hotkey_add_test_program name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "LABEL" "SOURCES;LIBRARIES")
    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE hotkey_options hotkey_harness ${arg_LIBRARIES})
    # Stress needs both processors: next to other tests it would only measure how late a killed process dies.
    string(COMPARE EQUAL "${arg_LABEL}" stress alone)
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
        PROPERTIES LABELS ${arg_LABEL} TIMEOUT 120 RUN_SERIAL ${alone})
endfunction()

function(hotkey_add_unit_tests name)
    hotkey_add_test_program(${name} LABEL unit ${ARGN})
endfunction()
