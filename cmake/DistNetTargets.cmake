# Helpers that the folders' CMakeLists.txt share.

# distnet_service_sources(<source…>): call once in each folder of the service. The sources are built twice: for the
# shipped library, and as objects for tests.
function(distnet_service_sources)
    foreach(source IN LISTS ARGN)
        set_property(GLOBAL APPEND PROPERTY DISTNET_SERVICE_SOURCES "${CMAKE_CURRENT_SOURCE_DIR}/${source}")
    endforeach()
endfunction()

# distnet_add_test(<name> <source…> [LIBS <library…>] [DAEMON] [ALONE] [TIMEOUT <seconds>])
# Builds one GoogleTest program and registers each of its cases as "<name>/<case>", labelled with the folder.
# DAEMON: the test starts the programs. They are built before the test, and DISTNET_BIN_DIR is defined as their folder.
# ALONE: while a case runs, ctest runs no other test.
# TIMEOUT: for each case, in seconds; default: 60.
function(distnet_add_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "DAEMON;ALONE" "TIMEOUT" "LIBS")
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 60)
    endif()
    file(RELATIVE_PATH label "${PROJECT_SOURCE_DIR}" "${CMAKE_CURRENT_SOURCE_DIR}")
    string(REGEX REPLACE "^tests/" "" label "${label}")

    add_executable(${name} ${arg_UNPARSED_ARGUMENTS})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/test-bin")
    target_link_libraries(${name} PRIVATE ${arg_LIBS} distnet_test_support distnet_test_main)
    if(arg_DAEMON)
        target_compile_definitions(${name} PRIVATE DISTNET_BIN_DIR="${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
        add_dependencies(${name} distnetd distnetctl distnet_service)
    endif()

    gtest_discover_tests(${name}
        TEST_PREFIX "${name}/"
        NO_PRETTY_VALUES
        DISCOVERY_MODE PRE_TEST
        DISCOVERY_TIMEOUT 60
        PROPERTIES
            LABELS "${label}"
            TIMEOUT ${arg_TIMEOUT}
            RUN_SERIAL ${arg_ALONE}
            ENVIRONMENT "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/support/lsan.supp:print_suppressions=0")
endfunction()
