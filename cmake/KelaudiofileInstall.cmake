# Install tree, CMake package, pkg-config module, and a pair of Debian packages (runtime, dev).
include(CMakePackageConfigHelpers)

install(TARGETS kelaudiofile EXPORT kelaudiofileTargets
    RUNTIME COMPONENT runtime
    LIBRARY COMPONENT runtime NAMELINK_COMPONENT dev
    ARCHIVE COMPONENT dev)
install(DIRECTORY include/kelaudiofile support/kelcore/include/kelcore support/kelmediatypes/include/kelmediatypes
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev FILES_MATCHING PATTERN "*.h")

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/kelaudiofile)
install(EXPORT kelaudiofileTargets NAMESPACE kelaudiofile:: DESTINATION ${package_folder} COMPONENT dev)
configure_package_config_file(cmake/kelaudiofileConfig.cmake.in kelaudiofileConfig.cmake
    INSTALL_DESTINATION ${package_folder} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(kelaudiofileConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kelaudiofileConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/kelaudiofileConfigVersion.cmake DESTINATION ${package_folder} COMPONENT dev)

# The module finds its prefix from its own place, so that an install tree can be moved.
set(module_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH prefix_from_module "/${module_folder}" "/")
string(REGEX REPLACE "/$" "" prefix_from_module "${prefix_from_module}")
configure_file(cmake/kelaudiofile.pc.in kelaudiofile.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kelaudiofile.pc DESTINATION ${module_folder} COMPONENT dev)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kelaudiofile)
set(CPACK_PACKAGE_CONTACT "kelaudiofile developers <kelaudiofile@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL runtime dev)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libkelaudiofile${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/triggers)
set(CPACK_DEBIAN_DEV_PACKAGE_NAME libkelaudiofile-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libkelaudiofile${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
include(CPack)
