# GoogleTest from Debian's source package (or HOTKEY_GOOGLETEST_DIR elsewhere), built with the same compiler as the product.
set(HOTKEY_GOOGLETEST_DIR /usr/src/googletest CACHE PATH "Folder of GoogleTest's sources")
if(NOT EXISTS ${HOTKEY_GOOGLETEST_DIR}/CMakeLists.txt)
    message(FATAL_ERROR "GoogleTest's sources are not in ${HOTKEY_GOOGLETEST_DIR}: install the package googletest, "
        "or configure with -DHOTKEY_GOOGLETEST_DIR=<folder> or -DHOTKEY_TESTS=OFF.")
endif()
# Lets the two settings below count also with GoogleTest's old minimum version of CMake.
set(CMAKE_POLICY_DEFAULT_CMP0077 NEW)
set(INSTALL_GTEST OFF)
set(gtest_force_shared_crt OFF)
add_subdirectory(${HOTKEY_GOOGLETEST_DIR} googletest EXCLUDE_FROM_ALL SYSTEM)
foreach(library gtest gmock gmock_main gtest_main)
    target_link_libraries(${library} PRIVATE hotkey_quiet)
    if(MSVC)
        # Its headers declare more from C++17 on, which the library then has to have; Visual Studio starts at C++14.
        target_compile_features(${library} PRIVATE cxx_std_20)
        target_compile_options(${library} PRIVATE /Zc:__cplusplus)
    endif()
endforeach()

include(GoogleTest)

# hotkey_discover_tests(name LABEL label [PREFIX prefix] [LOCK lock] [ALONE filter] [ENVIRONMENT variable=value])
# Each case of a GoogleTest program is a test of its own: CTest runs one process each, so that process-wide state never
# leaks between cases. ALONE: the cases of this filter run while nothing else does.
function(hotkey_discover_tests name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "LABEL;PREFIX;LOCK;ALONE;ENVIRONMENT" "")
    set(common TEST_PREFIX "${arg_PREFIX}" DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60)
    set(properties LABELS ${arg_LABEL} TIMEOUT 120)
    if(arg_LOCK)
        list(APPEND properties RESOURCE_LOCK ${arg_LOCK})
    endif()
    if(arg_ENVIRONMENT)
        list(APPEND properties ENVIRONMENT "${arg_ENVIRONMENT}")
    endif()
    if(arg_ALONE STREQUAL "*")
        gtest_discover_tests(${name} ${common} PROPERTIES ${properties} RUN_SERIAL TRUE)
    elseif(arg_ALONE)
        gtest_discover_tests(${name} ${common} TEST_FILTER "-${arg_ALONE}" PROPERTIES ${properties})
        gtest_discover_tests(${name} ${common} TEST_FILTER "${arg_ALONE}" PROPERTIES ${properties} RUN_SERIAL TRUE)
    else()
        gtest_discover_tests(${name} ${common} PROPERTIES ${properties})
    endif()
endfunction()

# Tests are compiled far more often than they are run: line numbers, no optimisation.
function(hotkey_compile_for_tests name)
    if(MINGW)
        target_compile_options(${name} PRIVATE -O0 -g1)
    elseif(MSVC)
        # A file of matchers has more sections than an object file of the old format can number.
        target_compile_options(${name} PRIVATE /bigobj)
    endif()
endfunction()

# hotkey_link_test_program(name LIBRARIES ...)
function(hotkey_link_test_program name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "LIBRARIES")
    target_link_libraries(${name} PRIVATE hotkey_options hotkey_harness ${arg_LIBRARIES})
    # Visual Studio wants one set of macros for all users of a precompiled header; some tests have macros of their own.
    if(MINGW)
        target_precompile_headers(${name} REUSE_FROM hotkey_harness)
    endif()
    hotkey_compile_for_tests(${name})
endfunction()

# hotkey_add_test_program(name LABEL label [ALONE filter] SOURCES ... LIBRARIES ...)
function(hotkey_add_test_program name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "LABEL;ALONE" "SOURCES;LIBRARIES")
    add_executable(${name} ${arg_SOURCES})
    hotkey_link_test_program(${name} LIBRARIES ${arg_LIBRARIES})
    hotkey_discover_tests(${name} LABEL ${arg_LABEL} ALONE "${arg_ALONE}")
endfunction()

function(hotkey_add_unit_tests name)
    hotkey_add_test_program(${name} LABEL unit ${ARGN})
endfunction()
