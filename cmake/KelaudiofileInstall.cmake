# Install tree, CMake package and pkg-config module.
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

# The module derives its prefix from its own location, so that an install tree can be moved.
set(module_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH prefix_from_module "/${module_folder}" "/")
string(REGEX REPLACE "/$" "" prefix_from_module "${prefix_from_module}")
configure_file(cmake/kelaudiofile.pc.in kelaudiofile.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kelaudiofile.pc DESTINATION ${module_folder} COMPONENT dev)
