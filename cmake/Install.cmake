# The files that `cmake --install` installs, and the Debian packages that CPack makes of them (scripts/package).
#
# The daemon is in the same folder as the service library, where it searches for it; sbin/ has a link to the daemon. Below
# /usr the loader finds the libraries; elsewhere they are found by their path relative to the programs. Files of the
# system (unit, user, D-Bus, polkit, configuration) contain absolute paths, so they are installed below /usr only.
include(GNUInstallDirs)
set(daemon_dir lib/distnet)
set(is_system FALSE)
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set(is_system TRUE)
endif()

foreach(library distnet_platform distnet_client)
    set_target_properties(${library} PROPERTIES
        VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
endforeach()

# install_rpath(<path to the libraries from the targets' folder> <target…>)
function(install_rpath path)
    if(is_system)
        set(path "")
    endif()
    set_target_properties(${ARGN} PROPERTIES INSTALL_RPATH "${path}" BUILD_WITH_INSTALL_RPATH OFF)
endfunction()
install_rpath("$ORIGIN" distnet_platform distnet_client)
install_rpath("$ORIGIN/../${CMAKE_INSTALL_LIBDIR}" distnetctl)
install_rpath("$ORIGIN/../../${CMAKE_INSTALL_LIBDIR}" distnetd distnet_service)

install(TARGETS distnetctl RUNTIME DESTINATION bin COMPONENT daemon)
install(TARGETS distnetd distnet_service
    RUNTIME DESTINATION ${daemon_dir} COMPONENT daemon
    LIBRARY DESTINATION ${daemon_dir} COMPONENT daemon)
install(CODE [[
    set(sbin "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/sbin")
    file(MAKE_DIRECTORY "${sbin}")
    file(CREATE_LINK ../lib/distnet/distnetd "${sbin}/distnetd" SYMBOLIC)]] COMPONENT daemon)
install(TARGETS distnet_platform distnet_client
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT daemon NAMELINK_SKIP)

install(TARGETS distnet_client LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development NAMELINK_ONLY)
# The installed folders match the paths by which the headers include each other.
set(distnet_include_dir include/distnet)
foreach(header client/distnet_client.h interfaces/account_answers.h interfaces/host_answers.h interfaces/named_values.h interfaces/online_answers.h
        interfaces/sharing_answers.h platform/base/named_values.h
        platform/dfx/health_check.h distributed/services/utils/distnet_errors.h)
    get_filename_component(folder ${header} DIRECTORY)
    install(FILES ${header} DESTINATION ${distnet_include_dir}/${folder} COMPONENT development)
endforeach()
# The pages that the headers refer to, and the pages linked from those.
install(FILES docs/ipc.md docs/traces.md docs/files.md docs/errors.md docs/failures.md docs/distnetctl.md docs/configuration.md docs/enrolment.md
    DESTINATION share/doc/libdistnet-dev COMPONENT development)
install(DIRECTORY docs/examples DESTINATION share/doc/libdistnet-dev COMPONENT development)

# The pkg-config and CMake files use paths relative to themselves, so the installed tree can be moved.
file(RELATIVE_PATH distnet_prefix_from_pc "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" distnet_prefix_from_pc "${distnet_prefix_from_pc}")
configure_file(packaging/distnet-client.pc.in packaging/distnet-client.pc @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/packaging/distnet-client.pc"
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
include(CMakePackageConfigHelpers)
configure_package_config_file(packaging/DistNetConfig.cmake.in packaging/DistNetConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/DistNet PATH_VARS CMAKE_INSTALL_LIBDIR distnet_include_dir)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/packaging/DistNetConfigVersion.cmake"
    COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/packaging/DistNetConfig.cmake"
    "${PROJECT_BINARY_DIR}/packaging/DistNetConfigVersion.cmake"
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/DistNet COMPONENT development)

install(FILES packaging/completion/distnetctl.bash
    DESTINATION share/bash-completion/completions RENAME distnetctl COMPONENT daemon)
install(FILES packaging/completion/_distnetctl DESTINATION share/zsh/vendor-completions COMPONENT daemon)
install(FILES packaging/completion/distnetctl.fish DESTINATION share/fish/vendor_completions.d COMPONENT daemon)

# ---- Manual pages, generated from docs/ ---------------------------------------------------------------------------
find_program(LOWDOWN_PROGRAM lowdown)
function(install_manual page text)
    set(written "${PROJECT_BINARY_DIR}/packaging/${page}.gz")
    get_filename_component(section "${page}" LAST_EXT)
    string(SUBSTRING "${section}" 1 -1 section)
    add_custom_command(OUTPUT "${written}"
        COMMAND packaging/man/make-page ${page} ${PROJECT_VERSION} ${text} > "${written}.tmp"
        COMMAND gzip -9nc "${written}.tmp" > "${written}"
        DEPENDS packaging/man/make-page packaging/man/${page}.md ${text}
        WORKING_DIRECTORY "${PROJECT_SOURCE_DIR}" VERBATIM)
    install(FILES "${written}" DESTINATION share/man/man${section} COMPONENT daemon)
    set_property(GLOBAL APPEND PROPERTY DISTNET_MANUAL "${written}")
endfunction()
if(LOWDOWN_PROGRAM)
    install_manual(distnetctl.1 docs/distnetctl.md)
    install_manual(distnetd.json.5 docs/configuration.md)
    install_manual(distnetd.8 packaging/man/distnetd.md)
    get_property(manual GLOBAL PROPERTY DISTNET_MANUAL)
    add_custom_target(distnet_manual ALL DEPENDS ${manual})
else()
    message(STATUS "No manual pages: lowdown is not installed")
endif()

if(is_system)
    include(cmake/SystemInstall.cmake)
endif()
