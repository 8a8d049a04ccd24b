# The same tests in fewer processes: whole programs, for builds in which a process takes longer to start than its test to
# run. They are there in CTest's configuration `whole` alone: `scripts/test.sh PRESET --whole` runs them in place of the
# entries with the label `single`. A test's time limit is then its watchdog's.

# zent_add_whole(target COMMAND ... [SHARDS number] [LABELS label...]): the entry "Whole.target"; or several, which share
# the program's tests and may run at once.
function(zent_add_whole target)
    cmake_parse_arguments(arg "" "SHARDS" "COMMAND;LABELS" ${ARGN})
    if(NOT arg_SHARDS)
        set(arg_SHARDS 1)
    endif()
    foreach(shard RANGE 1 ${arg_SHARDS})
        set(name Whole.${target})
        set(environment)
        if(arg_SHARDS GREATER 1)
            string(APPEND name .${shard})
            math(EXPR index "${shard} - 1")
            set(environment GTEST_TOTAL_SHARDS=${arg_SHARDS} GTEST_SHARD_INDEX=${index})
        endif()
        add_test(NAME ${name} CONFIGURATIONS whole COMMAND ${arg_COMMAND})
        set_tests_properties(${name} PROPERTIES TIMEOUT 900 SKIP_RETURN_CODE 77
            SKIP_REGULAR_EXPRESSION "\\[  SKIPPED \\]" LABELS "${arg_LABELS}" ENVIRONMENT "${environment}"
            COST 30) # before what takes seconds
    endforeach()
endfunction()
