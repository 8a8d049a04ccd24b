# GoogleTest programs.
include(GoogleTest)
include(${CMAKE_CURRENT_LIST_DIR}/Together.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/WholePrograms.cmake)

add_custom_target(random_tests) # the programs of the label "random", whose input follows from a seed

# zent_add_tests(target LIBRARIES ... SOURCES ... [TIMEOUT seconds] [SHARDS number] [LABELS label...]): a GoogleTest
# program, each test known to CTest. SHARDS and LABELS are for the whole program, see zent_add_whole.
function(zent_add_tests target)
    cmake_parse_arguments(arg "" "TIMEOUT;SHARDS" "LIBRARIES;SOURCES;LABELS" ${ARGN})
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 120)
    endif()
    add_executable(${target} ${arg_SOURCES})
    zent_compile_together(${target})
    target_link_libraries(${target} PRIVATE zent_test_settings test_support ${arg_LIBRARIES})
    target_precompile_headers(${target} REUSE_FROM precompiled_headers)
    set(label single)
    foreach(kind client firmware native)
        if(kind IN_LIST arg_LABELS)
            set(label single-${kind}) # a list of labels does not get through to the discovered tests
        endif()
    endforeach()
    gtest_discover_tests(${target} DISCOVERY_TIMEOUT 600 PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS ${label})
    if(random IN_LIST arg_LABELS)
        add_dependencies(random_tests ${target})
    endif()
    zent_add_whole(${target} COMMAND ${target} SHARDS ${arg_SHARDS} LABELS ${arg_LABELS})
endfunction()
