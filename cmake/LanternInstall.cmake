# What makes the installed Lantern a package: find_package(lantern) and `pkg-config lantern`. The libraries and
# headers themselves are installed by lantern_component(), programs and data by their folders.
set(packageFolder ${CMAKE_INSTALL_LIBDIR}/cmake/lantern)

install(EXPORT lanternTargets NAMESPACE lantern:: DESTINATION ${packageFolder})

configure_package_config_file(
    ${CMAKE_CURRENT_LIST_DIR}/lanternConfig.cmake.in ${PROJECT_BINARY_DIR}/lanternConfig.cmake
    INSTALL_DESTINATION ${packageFolder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/lanternConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/lanternConfig.cmake
    ${PROJECT_BINARY_DIR}/lanternConfigVersion.cmake
    ${CMAKE_CURRENT_LIST_DIR}/LanternDependencies.cmake
    ${CMAKE_CURRENT_LIST_DIR}/FindClearSilver.cmake
    DESTINATION ${packageFolder})

# A linker reads static libraries from left to right: the highest floor first, what it stands on after it.
get_property(archives GLOBAL PROPERTY LANTERN_ARCHIVES)
list(REVERSE archives)
list(TRANSFORM archives PREPEND "-l")
list(JOIN archives " " LANTERN_PKGCONFIG_ARCHIVES)

# Found from where the file lies, so that the installed package can be moved as a whole.
file(RELATIVE_PATH LANTERN_PKGCONFIG_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(${CMAKE_CURRENT_LIST_DIR}/lantern.pc.in ${PROJECT_BINARY_DIR}/lantern.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/lantern.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
