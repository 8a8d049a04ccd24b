# What every target is compiled with. Targets of the project link `zent_settings`.
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

# Where a guest in another project puts its files, and how it is optimised, is that project's to say.
if(PROJECT_IS_TOP_LEVEL)
    set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
    set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
    set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
endif()
if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
endif()

add_library(zent_settings INTERFACE)
set(ZENT_WARNINGS -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(ZENT_WARNINGS_ARE_ERRORS)
    list(APPEND ZENT_WARNINGS -Werror)
endif()
target_compile_options(zent_settings INTERFACE ${ZENT_WARNINGS})

if(ZENT_SANITIZE)
    target_compile_options(zent_settings INTERFACE -fsanitize=${ZENT_SANITIZE} -fno-omit-frame-pointer
        -fno-sanitize-recover=all)
    target_link_options(zent_settings INTERFACE -fsanitize=${ZENT_SANITIZE})
    if(ZENT_SANITIZE MATCHES "thread")
        # To look at an object's type it writes into a pipe, which ThreadSanitizer takes for a thing that threads share.
        target_compile_options(zent_settings INTERFACE -fno-sanitize=vptr)
        # Nor does clang++ look at a called function's type, as g++ never does: see zent_own_operator_new.
        target_compile_options(zent_settings INTERFACE $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-fno-sanitize=function>)
    endif()
endif()

if(ZENT_COVERAGE)
    # AddressSanitizer adds lines and branches of its own where it marks the ends of blocks, and none else.
    set(ZENT_COUNTED --coverage -fprofile-update=atomic -fno-sanitize-address-use-after-scope)
    target_compile_options(zent_settings INTERFACE ${ZENT_COUNTED})
    target_link_options(zent_settings INTERFACE --coverage)
endif()

# Of what large files take, g++ would spend a tenth on looking for memory that it could use again: not before it has used
# half a gigabyte.
set(ZENT_COMPILE_IN_MEMORY $<$<COMPILE_LANG_AND_ID:CXX,GNU>:--param=ggc-min-heapsize=262144>)

# Test programs: not optimised and with line numbers only, since compiling the assertions' templates is most of the
# build; and without the undefined-behaviour sanitizer, which is for the code under test.
add_library(zent_test_settings INTERFACE)
target_compile_options(zent_test_settings INTERFACE ${ZENT_WARNINGS} ${ZENT_COMPILE_IN_MEMORY} -O0
    $<IF:$<OR:$<BOOL:${ZENT_COVERAGE}>,$<BOOL:${CMAKE_CROSSCOMPILING}>>,-g0,-g1>) # nobody debugs those builds
if(ZENT_SANITIZE)
    string(REPLACE ",undefined" "" test_sanitizers "${ZENT_SANITIZE}")
    target_compile_options(zent_test_settings INTERFACE -fsanitize=${test_sanitizers} -fno-omit-frame-pointer
        -fno-sanitize-recover=all)
    target_link_options(zent_test_settings INTERFACE -fsanitize=${ZENT_SANITIZE})
endif()
if(ZENT_COVERAGE)
    target_link_options(zent_test_settings INTERFACE --coverage)
    # The same looks at memory, as calls instead of in line, and no code for what is switched off when it runs: an eighth of
    # the compiler's time.
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND ZENT_SANITIZE MATCHES "address")
        target_compile_options(zent_test_settings INTERFACE --param=asan-instrumentation-with-call-threshold=0
            --param=asan-use-after-return=0)
    endif()
endif()

# For tests that hold the code they test, where others load it: the linker may take the inline functions of its headers
# from a test, and then they are counted there.
add_library(zent_counted_headers INTERFACE)
if(ZENT_COVERAGE)
    target_compile_options(zent_counted_headers INTERFACE ${ZENT_COUNTED})
endif()

# For tests with an operator new of their own. clang++ links ThreadSanitizer's into the program, whose own would be one too
# many. Where it links C it leaves that out, and with it the C++ library and UndefinedBehaviorSanitizer's part for C++.
add_library(zent_own_operator_new INTERFACE)
if(ZENT_SANITIZE MATCHES "thread" AND CMAKE_CXX_COMPILER_ID STREQUAL Clang)
    target_link_options(zent_own_operator_new INTERFACE --driver-mode=gcc)
    target_link_libraries(zent_own_operator_new INTERFACE stdc++ m)
endif()

# What g++ warns of in headers, members of types that only one file knows, is no fault in a file that includes others.
set(ZENT_FILES_IN_FILES $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-subobject-linkage>)

# Builds that only run the tests once more, beside those that people work with and that are analysed file by file.
# There files are compiled several at a time, which takes a third of the time; a file that is changed takes longer.
set(ZENT_ONE_MORE_BUILD OFF)
if(PROJECT_IS_TOP_LEVEL AND (ZENT_SANITIZE OR ZENT_COVERAGE OR CMAKE_CROSSCOMPILING))
    set(ZENT_ONE_MORE_BUILD ON)
    set(CMAKE_UNITY_BUILD ON)
    set(CMAKE_UNITY_BUILD_BATCH_SIZE 16)
    target_compile_options(zent_settings INTERFACE ${ZENT_FILES_IN_FILES} ${ZENT_COMPILE_IN_MEMORY})
endif()

# zent_compile_rooms_together(): from here on files of a room are compiled several at a time where people work too; in clang's
# build, which is there for analysis, each by itself. For rooms that no guest builds: what a guest compiles file by file is
# compiled so here.
macro(zent_compile_rooms_together)
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND NOT ZENT_ONE_MORE_BUILD)
        set(CMAKE_UNITY_BUILD ON)
        set(CMAKE_UNITY_BUILD_BATCH_SIZE 8)
        target_compile_options(zent_settings INTERFACE ${ZENT_FILES_IN_FILES})
    endif()
endmacro()

# How many test files are compiled at a time (tests/support/Together.cmake): fewer where somebody waits for the one that
# was changed.
set(ZENT_TEST_FILES_TOGETHER 8)
if(ZENT_ONE_MORE_BUILD)
    set(ZENT_TEST_FILES_TOGETHER 16)
endif()

# zent_install_headers(library): its public headers.
function(zent_install_headers library)
    zent_public_headers(headers)
    list(FILTER headers INCLUDE REGEX "^${library}/")
    foreach(header IN LISTS headers)
        get_filename_component(folder ${header} DIRECTORY)
        install(FILES ${PROJECT_SOURCE_DIR}/src/lib/${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder})
    endforeach()
endfunction()

# zent_compile_quickly(target): a program for people, most of whose time goes by in waiting. It is not optimised in builds
# that only run the tests once more.
function(zent_compile_quickly target)
    if(ZENT_ONE_MORE_BUILD)
        target_compile_options(${target} PRIVATE -O0)
    endif()
endfunction()
