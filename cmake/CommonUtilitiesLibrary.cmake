# The shared library: linked by the C driver, so that it needs libc and libm alone, and exporting
# exactly the names in the subsystems' exports.txt files. A listed but missing name fails the link,
# and so does any need for a C++ runtime.

target_link_libraries(commonutilities_objects PRIVATE commonutilities_core)
target_include_directories(commonutilities_objects PRIVATE
  ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)

# --- the version script -------------------------------------------------------------------------
set(_exports "")
foreach(_subsystem IN LISTS COMMONUTILITIES_SUBSYSTEMS)
  set(_list ${PROJECT_SOURCE_DIR}/${_subsystem}/exports.txt)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${_list})
  file(STRINGS ${_list} _names REGEX "^[A-Za-z_]")
  list(APPEND _exports ${_names})
endforeach()
list(SORT _exports)
set(COMMONUTILITIES_EXPORTS ${_exports})
list(JOIN _exports ";\n    " _lines)
set(COMMONUTILITIES_MAP ${PROJECT_BINARY_DIR}/commonutilities.map)
file(CONFIGURE OUTPUT ${COMMONUTILITIES_MAP} @ONLY CONTENT
"COMMONUTILITIES_${PROJECT_VERSION_MAJOR} {
  global:
    ${_lines};
  local:
    *;
};
")
file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/exports.txt @ONLY CONTENT "@_exports@\n")

# --- the headers, reachable as <commonutilities/name.h> from the build tree too -----------------
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/include)
file(CREATE_LINK ${PROJECT_SOURCE_DIR}/include ${PROJECT_BINARY_DIR}/include/commonutilities SYMBOLIC)

# --- the targets --------------------------------------------------------------------------------
# CMake would add the C++ runtime for the sake of the C++ objects; the C driver must not see it.
set(CMAKE_CXX_IMPLICIT_LINK_LIBRARIES "")

add_library(commonutilities SHARED $<TARGET_OBJECTS:commonutilities_objects>)
add_library(commonutilities::commonutilities ALIAS commonutilities)
set_target_properties(commonutilities PROPERTIES
  LINKER_LANGUAGE C
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR}
  LINK_DEPENDS ${COMMONUTILITIES_MAP})
target_include_directories(commonutilities INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
  $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/commonutilities>)
# The library's calls of its own functions are direct (no stub each); data stays replaceable, for
# programs share gDBGLogCtrl.
target_link_options(commonutilities PRIVATE
  -Wl,-Bsymbolic-functions
  -Wl,--version-script=${COMMONUTILITIES_MAP} -Wl,--no-undefined-version
  -Wl,--as-needed -Wl,--gc-sections -static-libgcc)
if(COMMONUTILITIES_SANITIZE)
  target_link_options(commonutilities PRIVATE -fsanitize=${COMMONUTILITIES_SANITIZE})
else()
  # A sanitizer's run-time comes with the program, so this check belongs to plain builds.
  target_link_options(commonutilities PRIVATE -Wl,--no-undefined)
endif()
if(COMMONUTILITIES_COVERAGE)
  target_link_options(commonutilities PRIVATE --coverage)
endif()
if(COMMONUTILITIES_HARDEN)
  target_link_options(commonutilities PRIVATE LINKER:-z,relro,-z,now,-z,noexecstack)
endif()
target_link_libraries(commonutilities PRIVATE m)

# The same objects as an archive, for tests and tools that reach behind the exported names.
add_library(commonutilities_internal STATIC EXCLUDE_FROM_ALL $<TARGET_OBJECTS:commonutilities_objects>)
target_link_libraries(commonutilities_internal INTERFACE
  commonutilities_options Threads::Threads m ${CMAKE_DL_LIBS})
target_include_directories(commonutilities_internal INTERFACE
  ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include ${PROJECT_BINARY_DIR}/include)
