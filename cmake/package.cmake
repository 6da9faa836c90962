# Debian packages, by `cpack` from a build that was configured with the prefix /usr; scripts/package.sh does it all.
# libutl1 is what a device carries; libutl-dev what a developer adds: headers, CMake package, pkg-config file.
set(UTL_RUNTIME_PACKAGE libutl${UTL_SOVERSION})

# What a Debian package has to carry: who may copy it, and what changed. Compressed without a time stamp in it.
find_program(UTL_GZIP gzip REQUIRED)
function(utl_compressed nSource nTarget)
    execute_process(COMMAND ${UTL_GZIP} -9nc ${nSource} OUTPUT_FILE ${nTarget} COMMAND_ERROR_IS_FATAL ANY)
endfunction()
set(UTL_DEBIAN_DIR ${CMAKE_CURRENT_BINARY_DIR}/debian)
file(MAKE_DIRECTORY ${UTL_DEBIAN_DIR})
utl_compressed(${PROJECT_SOURCE_DIR}/CHANGELOG.md ${UTL_DEBIAN_DIR}/changelog.gz)
utl_compressed(${PROJECT_SOURCE_DIR}/cmake/debian/changelog ${UTL_DEBIAN_DIR}/changelog.Debian.gz)
set(UTL_DOCUMENTS ${UTL_DEBIAN_DIR}/changelog.gz ${UTL_DEBIAN_DIR}/changelog.Debian.gz cmake/debian/copyright)
install(FILES ${UTL_DOCUMENTS} DESTINATION share/doc/${UTL_RUNTIME_PACKAGE} COMPONENT runtime EXCLUDE_FROM_ALL)
install(FILES ${UTL_DOCUMENTS} DESTINATION share/doc/libutl-dev COMPONENT development EXCLUDE_FROM_ALL)

# Which package another package needs for this library, and that the loader's cache has to be made anew.
file(WRITE ${UTL_DEBIAN_DIR}/shlibs
     "libutl ${UTL_SOVERSION} ${UTL_RUNTIME_PACKAGE} (>= ${PROJECT_VERSION})\n")
file(WRITE ${UTL_DEBIAN_DIR}/triggers "activate-noawait ldconfig\n")

set(UTL_DESCRIPTION
    "Message-driven threads with bounded queues and timers, a registry of threads
with a software watchdog, an application log, fixed-block pools, files of
Japanese text, character conversion, calendar time and bit streams.")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR "utl developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "common runtime for one long-running application")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                                WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "utl developers <developers@utl.invalid>")
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
if(UTL_PACKAGE_ARCHITECTURE) # not this machine's
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${UTL_PACKAGE_ARCHITECTURE})
endif()

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${UTL_RUNTIME_PACKAGE})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_PRIORITY optional)
# The newest symbols that the library takes from each; scripts/package.sh stops when the library takes newer ones.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "libc6 (>= 2.34), libgcc-s1 (>= 3.5), libstdc++6 (>= 5.2)")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${UTL_DEBIAN_DIR}/shlibs ${UTL_DEBIAN_DIR}/triggers)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
    "${UTL_DESCRIPTION}
.
This package holds the shared library.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libutl-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${UTL_RUNTIME_PACKAGE} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
    "${UTL_DESCRIPTION}
.
This package holds the headers, the CMake package and the pkg-config file.")

include(CPack)
