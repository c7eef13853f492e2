# The Debian package of the installed programs: `cpack -G DEB`, or the target `package`.
if(NOT CELLWARDEN_TOOLS)
    return()
endif()

install(FILES telemetry/charging.proto DESTINATION ${CMAKE_INSTALL_DATADIR}/cellwarden/telemetry)
install(FILES decode/event_stream.proto DESTINATION ${CMAKE_INSTALL_DATADIR}/cellwarden/decode OPTIONAL)
install(FILES CHANGELOG.md README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "cellwarden maintainers <maintainers@cellwarden.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "tools for the records and events of a battery daemon")
set(CPACK_PACKAGE_DESCRIPTION "The inspector, the report, the life-time simulator and the bench of the
 battery daemon cellwarden, and the daemon itself for the bench.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR}/device)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS bash-completion)
include(CPack)
