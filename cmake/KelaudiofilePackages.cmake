# Debian packages: the library, its headers, and the example programs. They are built by the preset `debian`, which
# sets the prefix /usr; the folder of the library depends on it.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kelaudiofile)
set(CPACK_PACKAGE_CONTACT "kelaudiofile developers <developers@kelaudiofile.invalid>") # the owner's to choose
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_CURRENT_BINARY_DIR}) # the programs' own library
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# kelaudiofile_package(<component> <name> <section> <lines of description...>)
function(kelaudiofile_package component name section)
    string(TOUPPER ${component} COMPONENT)
    string(JOIN "\n" description ${ARGN})
    set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)
    set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME ${name} PARENT_SCOPE)
    set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_SECTION ${section} PARENT_SCOPE)
    set(CPACK_DEBIAN_${COMPONENT}_DESCRIPTION "${description}" PARENT_SCOPE)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz DESTINATION share/doc/${name}
        COMPONENT ${component} EXCLUDE_FROM_ALL)
endfunction()

set(library libkelaudiofile${PROJECT_VERSION_MAJOR})
set(needs_library "${library} (= ${PROJECT_VERSION})")
kelaudiofile_package(runtime ${library} libs
    "This is the shared library. It also hashes audio, keeps timelines of peaks,"
    "and measures ID3 tags.")
kelaudiofile_package(dev libkelaudiofile-dev libdevel
    "This is what it takes to build programs on the library: its headers, a CMake"
    "package and a pkg-config module.")
kelaudiofile_package(tools kelaudiofile-tools sound
    "These are programs that describe, decode, record, cut, transcode and draw"
    "audio files, and find those that sound alike.")
file(CONFIGURE OUTPUT shlibs CONTENT "libkelaudiofile ${PROJECT_VERSION_MAJOR} ${library} (>= ${PROJECT_VERSION})\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    ${PROJECT_SOURCE_DIR}/packaging/debian/triggers ${CMAKE_CURRENT_BINARY_DIR}/shlibs)
install(FILES ${PROJECT_SOURCE_DIR}/packaging/debian/lintian-overrides DESTINATION share/lintian/overrides
    RENAME ${library} COMPONENT runtime EXCLUDE_FROM_ALL)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${needs_library}")
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${needs_library}")

# In a folder shared by all programs, names say whose they are. A man page holds the output of --help.
find_program(HELP2MAN help2man REQUIRED)
set(pages)
foreach(example describe decode record cut transcode overview duplicates)
    set(name kelaudiofile-${example})
    install(TARGETS example_${example} RUNTIME COMPONENT tools EXCLUDE_FROM_ALL)
    install(CODE "set(bin \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
        file(RENAME \"\${bin}/${example}\" \"\${bin}/${name}\")" COMPONENT tools EXCLUDE_FROM_ALL)
    set(page ${CMAKE_CURRENT_BINARY_DIR}/man/${name})
    add_custom_command(OUTPUT ${page}.1.gz DEPENDS example_${example} VERBATIM
        COMMAND ${CMAKE_COMMAND} -E make_directory man
        COMMAND ${CMAKE_COMMAND} -E create_symlink $<TARGET_FILE:example_${example}> ${page}
        COMMAND sh ${PROJECT_SOURCE_DIR}/packaging/debian/man-page.sh ${page} ${page}.1)
    list(APPEND pages ${page}.1.gz)
endforeach()
install(FILES ${pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools EXCLUDE_FROM_ALL)

set(changelog ${PROJECT_SOURCE_DIR}/packaging/debian/changelog)
file(STRINGS ${changelog} newest LIMIT_COUNT 1)
if(NOT newest MATCHES "\\(${PROJECT_VERSION}\\)")
    message(FATAL_ERROR "${changelog} says ${newest}, and CMakeLists.txt version ${PROJECT_VERSION}")
endif()
add_custom_command(OUTPUT changelog.gz DEPENDS ${changelog} VERBATIM
    COMMAND gzip -9nc ${changelog} > changelog.gz)
add_custom_target(kelaudiofile_package_documents ALL DEPENDS changelog.gz ${pages})
include(CPack)
