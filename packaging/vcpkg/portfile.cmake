# An overlay port that builds the tree that contains it: vcpkg install kelaudiofile --overlay-ports=packaging/vcpkg
get_filename_component(SOURCE_PATH "${CMAKE_CURRENT_LIST_DIR}/../.." ABSOLUTE)

vcpkg_cmake_configure(
    SOURCE_PATH "${SOURCE_PATH}"
    OPTIONS -DKELAUDIOFILE_BUILD_TESTS=OFF -DKELAUDIOFILE_BUILD_EXAMPLES=OFF
            -DKELAUDIOFILE_BUILD_BENCHMARKS=OFF)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(CONFIG_PATH lib/cmake/kelaudiofile)
vcpkg_fixup_pkgconfig()
file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include")
set(VCPKG_POLICY_SKIP_COPYRIGHT_CHECK enabled) # no licence has been chosen yet
