# Libraries, headers, the command, CMake and pkg-config files.
include(CMakePackageConfigHelpers)
set_target_properties(orv_elw_avx2 PROPERTIES EXPORT_NAME elementwise)
set_target_properties(orv_core PROPERTIES EXPORT_NAME core)
install(TARGETS orv_elw_avx2 orv_core EXPORT orv
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(TARGET orv)
  install(TARGETS orv RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/orv DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}
  FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN data EXCLUDE)
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
if(WIN32) # for other compilers' import libraries
  install(FILES ${PROJECT_BINARY_DIR}/orv_elw_avx2.def ${PROJECT_BINARY_DIR}/orv_core.def
    DESTINATION ${CMAKE_INSTALL_LIBDIR})
  set(ORV_PC_LIBRARY -lorv_elw_avx2.2)
else()
  set(ORV_PC_LIBRARY -l:liborv_elw_avx2.so.2)
endif()
install(EXPORT orv NAMESPACE orv:: FILE orvTargets.cmake DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/orv)
file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/orvConfig.cmake
  CONTENT "include(\"\${CMAKE_CURRENT_LIST_DIR}/orvTargets.cmake\")\n" @ONLY)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/orvConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/orvConfig.cmake ${PROJECT_BINARY_DIR}/orvConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/orv)
# Relative to its own place, so that an installed tree can be moved.
file(RELATIVE_PATH up /${CMAKE_INSTALL_LIBDIR}/pkgconfig /${CMAKE_INSTALL_INCLUDEDIR})
set(ORV_PC_INCLUDE "\${pcfiledir}/${up}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/orv.pc.in ${PROJECT_BINARY_DIR}/orv.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/orv.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
