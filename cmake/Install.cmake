# Installs the shared library with its public headers, a CMake package
# (find_package(QarnUVAtlas) -> QarnUVAtlas::QarnUVAtlas) and a pkg-config file.
# The object library and the internal archive used by the tests stay private.

include(CMakePackageConfigHelpers)

set(QARN_CMAKE_INSTALL_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/QarnUVAtlas)

# Consumers compile the public headers, which need C++17.
target_compile_features(QarnUVAtlas INTERFACE cxx_std_17)
set_target_properties(QarnUVAtlas PROPERTIES EXPORT_NAME QarnUVAtlas)

install(TARGETS QarnUVAtlas
  EXPORT QarnUVAtlasTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/QarnUVAtlas
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h")

install(EXPORT QarnUVAtlasTargets
  NAMESPACE QarnUVAtlas::
  FILE QarnUVAtlasTargets.cmake
  DESTINATION ${QARN_CMAKE_INSTALL_DIR})

configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/QarnUVAtlasConfig.cmake.in
  ${PROJECT_BINARY_DIR}/QarnUVAtlasConfig.cmake
  INSTALL_DESTINATION ${QARN_CMAKE_INSTALL_DIR})
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/QarnUVAtlasConfigVersion.cmake
  VERSION ${PROJECT_VERSION}
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/QarnUVAtlasConfig.cmake
  ${PROJECT_BINARY_DIR}/QarnUVAtlasConfigVersion.cmake
  DESTINATION ${QARN_CMAKE_INSTALL_DIR})

# pkg-config: the prefix is found from the .pc file's own place, so the file
# stays right whatever prefix `cmake --install --prefix` is given.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  set(QARN_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
  set(QARN_PC_LIBDIR "${CMAKE_INSTALL_FULL_LIBDIR}")
  set(QARN_PC_INCLUDEDIR "${CMAKE_INSTALL_FULL_INCLUDEDIR}")
else()
  file(RELATIVE_PATH QARN_PC_UP "/r/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/r")
  string(REGEX REPLACE "/$" "" QARN_PC_UP "${QARN_PC_UP}")
  set(QARN_PC_PREFIX "\${pcfiledir}/${QARN_PC_UP}")
  set(QARN_PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
  set(QARN_PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/QarnUVAtlas.pc.in
  ${PROJECT_BINARY_DIR}/QarnUVAtlas.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/QarnUVAtlas.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The command-line tool, when it is built, goes into bin/ and finds the
# library through its relative run path.
if(TARGET qarnuv)
  install(TARGETS qarnuv RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} OPTIONAL)
endif()
