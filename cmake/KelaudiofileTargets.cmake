include(CheckCXXCompilerFlag)
include(CheckLinkerFlag)

# Targets that need more than a compiler are built if that is found, unless KELAUDIOFILE_BUILD_<kind> says ON or OFF.
# KELAUDIOFILE_WITH_<kind> holds the result.
#   kelaudiofile_optional(<kind> <CMake package> <Debian package>)
function(kelaudiofile_optional kind package debian)
    set(build KELAUDIOFILE_BUILD_${kind})
    set(default OFF)
    if(PROJECT_IS_TOP_LEVEL)
        set(default AUTO)
    endif()
    set(${build} ${default} CACHE STRING "ON, OFF, or AUTO: where ${package} is found")
    set_property(CACHE ${build} PROPERTY STRINGS AUTO ON OFF)

    set(with OFF)
    string(TOLOWER ${kind} name)
    if(${build} STREQUAL "AUTO" OR ${build})
        find_package(${package} QUIET)
        set(with ${${package}_FOUND})
        set(missing "The ${name} need ${package} (on Debian: apt-get install ${debian})")
        if(NOT with AND ${build} STREQUAL "AUTO")
            message(STATUS "${missing}: left out")
        elseif(NOT with)
            message(FATAL_ERROR "${missing}, or set ${build} to OFF.")
        endif()
    endif()
    set(KELAUDIOFILE_WITH_${kind} ${with} PARENT_SCOPE)
endfunction()

# Settings are applied to each of our own targets, so that a host that uses add_subdirectory keeps its own.

function(kelaudiofile_sanitize target)
    if(KELAUDIOFILE_SANITIZE)
        set(flags -fsanitize=${KELAUDIOFILE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
        target_compile_options(${target} PRIVATE ${flags})
        target_link_options(${target} PRIVATE ${flags})
    endif()
endfunction()

# Hardening against the exploitation of memory errors, if the compiler and linker support it. Checked calls need
# optimisation, and sanitizers check more.
function(kelaudiofile_harden target)
    if(KELAUDIOFILE_SANITIZE OR CMAKE_CXX_FLAGS MATCHES "-fsanitize" OR WIN32) # Windows' own are on without a word
        return()
    endif()
    check_cxx_compiler_flag(-fstack-protector-strong KELAUDIOFILE_HAS_STACK_PROTECTOR)
    check_linker_flag(CXX LINKER:-z,relro,-z,now KELAUDIOFILE_HAS_RELRO)
    target_compile_options(${target} PRIVATE
        $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=3>
        $<$<BOOL:${KELAUDIOFILE_HAS_STACK_PROTECTOR}>:-fstack-protector-strong>)
    target_link_options(${target} PRIVATE $<$<BOOL:${KELAUDIOFILE_HAS_RELRO}>:LINKER:-z,relro,-z,now>)
endfunction()

# MSVC is told to keep to the standard. Its warning of standard containers in exported classes is about hosts that are
# built with another standard library, and C5030 of attributes that it doesn't know.
function(kelaudiofile_warnings target)
    if(MSVC)
        target_compile_options(${target} PRIVATE /W4 /permissive- /Zc:__cplusplus /utf-8 /wd4251 /wd4275 /wd5030
            $<$<BOOL:${KELAUDIOFILE_WARNINGS_AS_ERRORS}>:/WX>)
        target_compile_definitions(${target} PRIVATE _CRT_SECURE_NO_WARNINGS NOMINMAX)
    else()
        target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wno-psabi
            $<$<BOOL:${KELAUDIOFILE_WARNINGS_AS_ERRORS}>:-Werror>)
    endif()
endfunction()

# Options of g++ and clang++, which MSVC doesn't know.
function(kelaudiofile_gnu_options target)
    if(NOT MSVC)
        target_compile_options(${target} PRIVATE ${ARGN})
    endif()
endfunction()

# Warnings, language and sanitizers for all of our targets. How vectors are passed differs between processors of one
# family, but here only inlined functions pass them. On 32-bit x86, doubles are kept out of the x87 unit, so that each
# step rounds as on every other processor.
function(kelaudiofile_settings target)
    target_compile_features(${target} PRIVATE cxx_std_20)
    set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF POSITION_INDEPENDENT_CODE ON)
    kelaudiofile_warnings(${target})
    kelaudiofile_sanitize(${target})
    if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND CMAKE_SYSTEM_PROCESSOR MATCHES "86|amd64|AMD64")
        kelaudiofile_gnu_options(${target} -msse2 -mfpmath=sse)
    endif()
    # On Windows, g++ keeps vectors of 32 bytes at addresses of its stack that are multiples of 16, and moves them as if
    # they were of 32. The assembler can take moves that allow that.
    if(MINGW AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        check_cxx_compiler_flag(-Wa,-muse-unaligned-vector-move KELAUDIOFILE_HAS_UNALIGNED_MOVES)
        if(KELAUDIOFILE_HAS_UNALIGNED_MOVES)
            target_compile_options(${target} PRIVATE -Wa,-muse-unaligned-vector-move)
            target_compile_definitions(${target} PRIVATE KELACCELERATE_UNALIGNED_MOVES)
        endif()
    endif()
endfunction()

# An interface target that exposes only the listed headers of a folder, through a folder of headers that include them.
#   kelaudiofile_show(<target> <folder> <headers>...)
function(kelaudiofile_show target folder)
    set(shown ${PROJECT_BINARY_DIR}/shown/${target})
    file(GLOB_RECURSE old RELATIVE ${shown} ${shown}/*.h)
    foreach(header ${ARGN})
        file(CONFIGURE OUTPUT ${shown}/${header} CONTENT "#include \"${folder}/${header}\"\n")
        list(REMOVE_ITEM old ${header})
    endforeach()
    foreach(header ${old})
        file(REMOVE ${shown}/${header})
    endforeach()
    add_library(${target} INTERFACE)
    target_include_directories(${target} INTERFACE ${shown})
endfunction()

# The object library of one folder. It sees the headers that it exports and those of the named targets, nothing else.
#   kelaudiofile_part(<target> SOURCES <files> [EXPORTS <headers>] [LENDS <headers>] [SEES <targets>])
# <target>_headers exposes the headers of include/kelaudiofile that it EXPORTS to hosts; <target>_lent exposes the private
# headers of its src folder that it LENDS to other folders.
function(kelaudiofile_part target)
    cmake_parse_arguments(PART "" "" "SOURCES;EXPORTS;LENDS;SEES" ${ARGN})
    if(PART_EXPORTS)
        list(TRANSFORM PART_EXPORTS PREPEND kelaudiofile/)
        kelaudiofile_show(${target}_headers ${PROJECT_SOURCE_DIR}/include kelaudiofile/Export.h ${PART_EXPORTS})
        list(APPEND PART_SEES ${target}_headers)
    endif()
    if(PART_LENDS)
        kelaudiofile_show(${target}_lent ${CMAKE_CURRENT_SOURCE_DIR}/src ${PART_LENDS})
    endif()
    add_library(${target} OBJECT ${PART_SOURCES})
    set_target_properties(${target} PROPERTIES KELAUDIOFILE_EXPORTS "${PART_EXPORTS}")
    kelaudiofile_settings(${target})
    kelaudiofile_harden(${target})
    set_target_properties(${target} PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    target_link_libraries(${target} PRIVATE ${PART_SEES})
    target_compile_definitions(${target} PRIVATE
        $<IF:$<BOOL:${BUILD_SHARED_LIBS}>,KELAUDIOFILE_BUILDING,KELAUDIOFILE_STATIC>)
endfunction()

# Loops over samples: vectorised code needs -O3, even if the host builds with -O2 or without a build type.
function(kelaudiofile_optimize_loops target)
    kelaudiofile_gnu_options(${target} $<$<NOT:$<CONFIG:Debug,MinSizeRel>>:-O3>)
endfunction()

# Programs in which only the library is performance-critical: most of what is compiled for them are third-party
# headers, which takes half as long this way.
function(kelaudiofile_compile_quickly target)
    kelaudiofile_gnu_options(${target} $<$<CONFIG:Release,RelWithDebInfo>:-O1> $<$<CONFIG:RelWithDebInfo>:-g1>)
endfunction()

# Keeps what no macro marks, such as instances of standard templates, inside the shared library. On Windows, nothing
# leaves that isn't marked.
function(kelaudiofile_export_nothing_else target)
    if(NOT BUILD_SHARED_LIBS OR WIN32)
        return()
    endif()
    if(APPLE)
        set(names ${PROJECT_BINARY_DIR}/exported-symbols.txt)
        kelaudiofile_write_exported_symbols(${PROJECT_SOURCE_DIR}/tests/package/symbols.txt ${names})
        set(option LINKER:-exported_symbols_list,${names})
    else()
        set(names ${PROJECT_SOURCE_DIR}/cmake/kelaudiofile.map)
        set(option LINKER:--version-script=${names})
    endif()
    check_linker_flag(CXX ${option} KELAUDIOFILE_HAS_EXPORT_LIST)
    if(KELAUDIOFILE_HAS_EXPORT_LIST)
        target_link_options(${target} PRIVATE ${option})
        set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${names})
    endif()
endfunction()

