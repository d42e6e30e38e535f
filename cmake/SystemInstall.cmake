# The files that integrate the daemon into a system, and the Debian packages.
install(FILES packaging/systemd/distnet.service DESTINATION lib/systemd/system COMPONENT daemon)
install(FILES packaging/systemd/sysusers.conf DESTINATION lib/sysusers.d RENAME distnet.conf COMPONENT daemon)
install(FILES packaging/systemd/tmpfiles.conf DESTINATION lib/tmpfiles.d RENAME distnet.conf COMPONENT daemon)
install(FILES packaging/dbus.conf DESTINATION share/dbus-1/system.d RENAME distnet.conf COMPONENT daemon)
install(FILES packaging/polkit.rules DESTINATION share/polkit-1/rules.d RENAME 50-distnet.rules COMPONENT daemon)
install(FILES packaging/polkit.policy DESTINATION share/polkit-1/actions RENAME org.distnet.policy COMPONENT daemon)
install(DIRECTORY packaging/configuration/etc DESTINATION share/distnet COMPONENT daemon)
install(FILES packaging/distnetd.json DESTINATION /etc/distnet COMPONENT daemon)

set(changelog "${PROJECT_BINARY_DIR}/packaging/changelog.Debian.gz")
add_custom_command(OUTPUT "${changelog}"
    COMMAND gzip -9nc packaging/debian/changelog > "${changelog}"
    DEPENDS packaging/debian/changelog
    WORKING_DIRECTORY "${PROJECT_SOURCE_DIR}" VERBATIM)
add_custom_target(distnet_debian_changelog ALL DEPENDS "${changelog}")
foreach(pair daemon:distnet development:libdistnet-dev)
    string(REPLACE ":" ";" pair ${pair})
    list(GET pair 0 component)
    list(GET pair 1 package)
    install(FILES packaging/debian/copyright "${changelog}"
        DESTINATION share/doc/${package} COMPONENT ${component})
    install(FILES packaging/debian/${package}.lintian-overrides
        DESTINATION share/lintian/overrides RENAME ${package} COMPONENT ${component})
endforeach()
install(FILES README.md docs/install.md DESTINATION share/doc/distnet COMPONENT daemon)
install(DIRECTORY docs/schema DESTINATION share/doc/distnet COMPONENT daemon)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME distnet)
set(CPACK_PACKAGE_VENDOR DistNet)
set(CPACK_PACKAGE_CONTACT "DistNet maintainers <maintainers@distnet.example>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_SET_DESTDIR ON)  # the configuration goes to /etc
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ
    WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL daemon development)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_DAEMON_PACKAGE_NAME distnet)
set(CPACK_DEBIAN_DAEMON_PACKAGE_SECTION net)
set(CPACK_COMPONENT_DAEMON_DESCRIPTION "network through another device of the same account
Gets a device online through another device of the same owner: the laptop
asks the phone, over a device-to-device link, to open its Wi-Fi hotspot,
receives name and key, and joins it. The devices authenticate each other with
certificates of their own account; no cloud service is used.

This package contains the daemon, its command line distnetctl, and the library
for programs that use the daemon.")
set(CPACK_DEBIAN_DAEMON_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
set(CPACK_DEBIAN_DAEMON_PACKAGE_DEPENDS "systemd, default-dbus-system-bus | dbus-system-bus")
set(CPACK_DEBIAN_DAEMON_PACKAGE_RECOMMENDS "network-manager, polkitd, avahi-daemon, bluez")
set(CPACK_DEBIAN_DAEMON_PACKAGE_SUGGESTS "modemmanager, upower")
set(debian "${PROJECT_SOURCE_DIR}/packaging/debian")
set(CPACK_DEBIAN_DAEMON_PACKAGE_CONTROL_EXTRA
    "${debian}/postinst;${debian}/prerm;${debian}/postrm;${debian}/conffiles;${debian}/triggers")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libdistnet-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "network through another device - development files
Header files and the library to link, for programs that use the daemon of
the package distnet.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "distnet (= ${PROJECT_VERSION}-1)")
include(CPack)
