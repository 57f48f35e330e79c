# How everything in this tree is compiled, and the functions that declare libraries, tests and fuzz targets.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_SCAN_FOR_MODULES OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)

find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()

add_library(penmark_options INTERFACE)
target_include_directories(penmark_options INTERFACE ${CMAKE_SOURCE_DIR}/src)
target_compile_options(penmark_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual -Wimplicit-fallthrough -Werror)
target_link_libraries(penmark_options INTERFACE Threads::Threads)
if(PENMARK_SANITIZE)
    target_compile_options(penmark_options INTERFACE
        -fsanitize=${PENMARK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(penmark_options INTERFACE -fsanitize=${PENMARK_SANITIZE})
endif()
if(PENMARK_FUZZERS)
    target_compile_options(penmark_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# penmark_library(NAME SOURCES file... [LINK library...])
# A static library of one folder below src/; what it links is passed on.
function(penmark_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_link_libraries(${name} PUBLIC penmark_options ${ARG_LINK})
endfunction()

# penmark_test(NAME SOURCES file... [LINK library...] [LABELS label...] [TIMEOUT seconds])
# One GoogleTest program; each of its tests is a test of ctest.
function(penmark_test name)
    cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LINK;LABELS" ${ARGN})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_LINK} penmark_options GTest::gtest_main)
    target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests)
    target_compile_definitions(${name} PRIVATE
        PENMARK_TEST_DATA="${CMAKE_SOURCE_DIR}/tests/data"
        PENMARK_BIN="${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST TEST_PREFIX "${name}."
        PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}")
endfunction()

# penmark_fuzzer(NAME SOURCE file CORPUS folder [LINK library...])
# A libFuzzer program; the test NAME runs it for a few seconds over its corpus (which it never writes to).
function(penmark_fuzzer name)
    cmake_parse_arguments(ARG "" "SOURCE;CORPUS" "LINK" ${ARGN})
    add_executable(${name} ${ARG_SOURCE})
    target_link_libraries(${name} PRIVATE ${ARG_LINK} penmark_options)
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    if(PENMARK_TESTS)
        set(found ${CMAKE_BINARY_DIR}/fuzz-found/${name})
        file(MAKE_DIRECTORY ${found})
        add_test(NAME ${name} COMMAND ${name} -max_total_time=10 -timeout=10 -rss_limit_mb=2048
            -artifact_prefix=${found}/ -max_len=100000 ${found} ${ARG_CORPUS})
        set_tests_properties(${name} PROPERTIES TIMEOUT 120 LABELS fuzz)
    endif()
endfunction()
