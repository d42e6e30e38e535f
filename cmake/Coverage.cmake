# DISTNET_COVERAGE: counts the executed lines (scripts/coverage). Include this file before any target is defined.
add_compile_options(--coverage -fprofile-abs-path -fprofile-update=atomic)
add_link_options(--coverage)
# Each program and library contains its own counters, and thus its own copy of this file.
add_library(distnet_coverage_exit OBJECT "${CMAKE_CURRENT_LIST_DIR}/coverage_exit.cpp")
link_libraries(distnet_coverage_exit)
