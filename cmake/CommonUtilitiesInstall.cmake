# Install rules, the CMake package and the pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS commonutilities EXPORT commonutilities-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/commonutilities COMPONENT dev
  FILES_MATCHING PATTERN "*.h" PATTERN "*.hpp")

set(_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/commonutilities)
install(EXPORT commonutilities-targets NAMESPACE commonutilities::
  DESTINATION ${_package_dir} COMPONENT dev)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/commonutilities-config.cmake.in
  ${PROJECT_BINARY_DIR}/commonutilities-config.cmake INSTALL_DESTINATION ${_package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/commonutilities-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/commonutilities-config.cmake
  ${PROJECT_BINARY_DIR}/commonutilities-config-version.cmake
  DESTINATION ${_package_dir} COMPONENT dev)

# Written when it is installed: "cmake --install --prefix" can still change the prefix.
foreach(_kind IN ITEMS LIBDIR INCLUDEDIR)
  set(_pc_${_kind} ${CMAKE_INSTALL_${_kind}})
  if(NOT IS_ABSOLUTE ${_pc_${_kind}})
    set(_pc_${_kind} "\${prefix}/${_pc_${_kind}}")
  endif()
endforeach()
install(CODE "
  set(PROJECT_DESCRIPTION [[${PROJECT_DESCRIPTION}]])
  set(PROJECT_VERSION [[${PROJECT_VERSION}]])
  set(PC_LIBDIR [[${_pc_LIBDIR}]])
  set(PC_INCLUDEDIR [[${_pc_INCLUDEDIR}]])
  configure_file([[${CMAKE_CURRENT_LIST_DIR}/commonutilities.pc.in]]
    [[${PROJECT_BINARY_DIR}/commonutilities.pc]] @ONLY)" COMPONENT dev)
install(FILES ${PROJECT_BINARY_DIR}/commonutilities.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

# The guides, and the demo daemon with its documents as an example to start from.
file(GLOB _guides CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/*.md)
install(FILES ${_guides} DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT doc)
find_program(SCDOC_PROGRAM scdoc)
find_program(LOWDOWN_PROGRAM lowdown)
set(_can_build_man OFF)
if(SCDOC_PROGRAM AND LOWDOWN_PROGRAM)
  set(_can_build_man ON)
endif()
option(COMMONUTILITIES_BUILD_MAN "Build the man pages (scdoc, lowdown)" ${_can_build_man})
if(COMMONUTILITIES_BUILD_MAN)
  add_subdirectory(docs/man)
endif()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples
  COMPONENT examples FILES_MATCHING PATTERN "*.c" PATTERN "*.h" PATTERN "*.json" PATTERN "*.logenable")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/fleet DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples
  COMPONENT examples)

# gdb looks here for what belongs to a library that it loads: below the library's own path, which
# "cmake --install --prefix" can still change.
set(_library_dir ${CMAKE_INSTALL_LIBDIR})
if(NOT IS_ABSOLUTE ${_library_dir})
  set(_library_dir "\${CMAKE_INSTALL_PREFIX}/${_library_dir}")
endif()
install(FILES ${PROJECT_SOURCE_DIR}/tools/gdb/commonutilities-gdb.py
  DESTINATION "${CMAKE_INSTALL_DATADIR}/gdb/auto-load${_library_dir}"
  RENAME libcommonutilities.so.${PROJECT_VERSION}-gdb.py COMPONENT gdb)
