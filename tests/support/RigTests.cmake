# Tests that run inside the bus rig, where its GPIO lines and bus devices have their real names.

# The rig reads the memory of its callers, which no emulator can do for it: under emulation it is the native one.
if(CMAKE_CROSSCOMPILING)
    set(ZENT_BUSRIG ${ZENT_NATIVE_BUILD}/bin/zent-busrig CACHE INTERNAL "The rig that tests run in")
else()
    set(ZENT_BUSRIG $<TARGET_FILE:zent-busrig> CACHE INTERNAL "The rig that tests run in")
endif()

# zent_add_rig_tests(target [SUITES suite...] [TIMEOUT seconds] [SHARDS number] [LABELS label...]): runs a GoogleTest program inside the rig,
# one CTest entry for each suite, named "target.suite". The suites are read from the sources when none are given. Starting
# a rig costs about as much as ten tests, so there is no entry for each test. SHARDS, LABELS: see zent_add_whole and
# zent_add_tests.
function(zent_add_rig_tests target)
    cmake_parse_arguments(arg "" "TIMEOUT;SHARDS" "SUITES;LABELS" ${ARGN})
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 120)
    endif()
    if(NOT arg_SUITES)
        get_target_property(sources ${target} SOURCES)
        foreach(source IN LISTS sources)
            get_filename_component(source ${source} ABSOLUTE)
            set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source})
            file(STRINGS ${source} heads REGEX "^(TEST|TEST_F|TEST_P|TYPED_TEST)\\([A-Za-z0-9_]+,")
            foreach(head IN LISTS heads)
                string(REGEX REPLACE "^[A-Z_]+\\(([A-Za-z0-9_]+),.*" "\\1" suite "${head}")
                list(APPEND arg_SUITES ${suite})
            endforeach()
        endforeach()
        list(REMOVE_DUPLICATES arg_SUITES)
    endif()
    zent_compile_together(${target})
    set(label single)
    if(client IN_LIST arg_LABELS)
        set(label single-client)
    endif()
    set(command ${ZENT_RUN_IN_RIG} --busrig ${ZENT_BUSRIG} --quiet -- ${CMAKE_CROSSCOMPILING_EMULATOR}
        $<TARGET_FILE:${target}>)
    foreach(suite IN LISTS arg_SUITES)
        add_test(NAME ${target}.${suite} COMMAND ${command} --gtest_filter=${suite}.*:*/${suite}.*:${suite}/*)
        set_tests_properties(${target}.${suite} PROPERTIES TIMEOUT ${arg_TIMEOUT} SKIP_RETURN_CODE 77
            LABELS "rig;${label}")
    endforeach()
    zent_add_whole(${target} COMMAND ${command} SHARDS ${arg_SHARDS} LABELS rig ${arg_LABELS})
endfunction()
