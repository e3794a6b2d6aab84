# One interface target carries every flag; the functions below are the only way a target of this project is made.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 17)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

add_library(harbex_flags INTERFACE)
target_compile_definitions(harbex_flags INTERFACE _FILE_OFFSET_BITS=64 _GNU_SOURCE)
target_compile_options(harbex_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wformat=2 -Wcast-align -Wundef
    -Wnull-dereference -Wimplicit-fallthrough
    $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual>
    -ffunction-sections -fdata-sections -fno-omit-frame-pointer
    # No path of the building machine in what is built.
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${CMAKE_BINARY_DIR}=build)
target_link_options(harbex_flags INTERFACE -Wl,--gc-sections -Wl,--as-needed)
if(HARBEX_TIME_BITS)
    target_compile_definitions(harbex_flags INTERFACE _TIME_BITS=${HARBEX_TIME_BITS})
endif()
if(HARBEX_WERROR)
    target_compile_options(harbex_flags INTERFACE -Werror)
endif()
if(CMAKE_BUILD_TYPE STREQUAL "Release")
    # -O2 rather than CMake's -O3: the daemon is judged by its size, too.
    string(REPLACE "-O3" "-O2" CMAKE_CXX_FLAGS_RELEASE "${CMAKE_CXX_FLAGS_RELEASE}")
    string(REPLACE "-O3" "-O2" CMAKE_C_FLAGS_RELEASE "${CMAKE_C_FLAGS_RELEASE}")
    target_compile_options(harbex_flags INTERFACE
        -fstack-protector-strong -fstack-clash-protection -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3
        $<$<NOT:$<BOOL:$<TARGET_PROPERTY:POSITION_INDEPENDENT_CODE>>>:-fPIE>)
    if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|i.86")
        target_compile_options(harbex_flags INTERFACE -fcf-protection)
    endif()
    target_link_options(harbex_flags INTERFACE -Wl,-z,relro,-z,now)
    # Optimising, GCC looks into the standard library's stream iterators and sees null dereferences that are not there; the
    # debug build keeps the warning an error.
    target_compile_options(harbex_flags INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-null-dereference>)
endif()
if(HARBEX_SANITIZE)
    target_compile_options(harbex_flags INTERFACE -fsanitize=${HARBEX_SANITIZE} -fno-sanitize-recover=all -O1 -g)
    target_link_options(harbex_flags INTERFACE -fsanitize=${HARBEX_SANITIZE})
    # The checks that the sanitizers put in make GCC see null dereferences and uninitialised values that are not there.
    target_compile_options(harbex_flags INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-null-dereference$<SEMICOLON>-Wno-maybe-uninitialized>)
endif()

if(HARBEX_FUZZ)
    target_compile_options(harbex_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()

# harbex_library(NAME SOURCES … LINKS …): a static library that sees only what its links publish.
function(harbex_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINKS;PRIVATE_LINKS" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_link_libraries(${name} PUBLIC ${ARG_LINKS} PRIVATE harbex_flags ${ARG_PRIVATE_LINKS})
endfunction()

# harbex_program(NAME SOURCES … LINKS …)
function(harbex_program name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_LINKS} harbex_flags)
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
endfunction()

# harbex_test(NAME SOURCES … LINKS … [BARE] [TIMEOUT s]): a GoogleTest program that runs in a fresh appliance of its own;
# BARE leaves every service of that appliance stopped.
function(harbex_test name)
    cmake_parse_arguments(ARG "BARE" "TIMEOUT" "SOURCES;LINKS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
    target_link_libraries(${name} PRIVATE ${ARG_LINKS} GTest::gtest_main harbex_flags)
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    set(needs --own-network)  # the cloud is reached through it
    if(ARG_BARE)
        set(needs --bare)
    endif()
    set(nas ${CMAKE_BINARY_DIR})
    if(CMAKE_CROSSCOMPILING)
        set(nas ${CMAKE_BINARY_DIR}/nas)  # see tests/armhf
        math(EXPR ARG_TIMEOUT "${ARG_TIMEOUT} * 5")  # an emulator takes its time
    endif()
    add_test(NAME ${name} COMMAND ${HARBEX_TEST_LAUNCHER} ${PROJECT_SOURCE_DIR}/appliance/appliance
        --build ${nas} ${needs} -- ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:${name}> ${HARBEX_TEST_ARGUMENTS})
    set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT} SKIP_RETURN_CODE 77)
endfunction()
