# Says why there is no package to test.
message("SKIPPED: $ENV{ZENT_PYTHON_MISSING}; then: cmake --preset release")
