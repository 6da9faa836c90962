# Headers, library, a relocatable CMake package and a pkg-config file. The component "runtime" is the library alone.
install(TARGETS utl EXPORT utlTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(FILES ${UTL_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/utl COMPONENT development)

# Where gdb looks for what belongs to a library, if the prefix is /usr; otherwise: set auto-load safe-path, or source it.
if(UTL_GDB_SCRIPT)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${UTL_GDB_SCRIPT} COMPONENT development
            DESTINATION ${CMAKE_INSTALL_DATADIR}/gdb/auto-load${CMAKE_INSTALL_FULL_LIBDIR})
endif()

set(UTL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/utl)
configure_package_config_file(cmake/utlConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/utlConfig.cmake
                              INSTALL_DESTINATION ${UTL_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/utlConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/utlConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/utlConfigVersion.cmake
        DESTINATION ${UTL_CMAKE_DIR} COMPONENT development)
install(EXPORT utlTargets NAMESPACE utl:: DESTINATION ${UTL_CMAKE_DIR} COMPONENT development)

# The prefix is told from the place of the file itself, so that an installed tree can be moved.
file(RELATIVE_PATH UTL_PC_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" UTL_PC_PREFIX "${UTL_PC_PREFIX}")
set(UTL_PC_PRIVATE "-lstdc++ -lrt")
foreach(UTL_LIBRARY ${UTL_ATOMIC_LIBRARY})
    string(APPEND UTL_PC_PRIVATE " -l${UTL_LIBRARY}")
endforeach()
configure_file(cmake/utl.pc.in ${CMAKE_CURRENT_BINARY_DIR}/utl.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/utl.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
