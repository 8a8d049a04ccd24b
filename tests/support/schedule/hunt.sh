#!/bin/sh
# hunt.sh SEEDS CMD [ARGUMENT...]: runs a test program that links hostile_schedule under so many seeds, from 1 on.
# In the environment, SCHEDULE_SEEDS takes the place of SEEDS and HOSTLINK_SCHEDULE_SEED that of 1.
export HOSTLINK_SCHEDULE_SEED="${HOSTLINK_SCHEDULE_SEED:-1}" GTEST_REPEAT="${SCHEDULE_SEEDS:-$1}" GTEST_BRIEF=1
shift
exec "$@"
