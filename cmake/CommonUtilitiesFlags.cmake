# Language level, warnings and sanitizers, as usage requirements of two interface targets:
#   commonutilities_options   what every target of this tree is built with
#   commonutilities_core      what the library's own sources are built with besides

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

find_package(Threads REQUIRED)

add_library(commonutilities_options INTERFACE)
target_compile_options(commonutilities_options INTERFACE
  -Wall -Wextra -Wshadow -Wformat=2 -Wno-format-nonliteral
  -funwind-tables)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
  # A note about a change of the C++ ABI long ago, for every use of a container of 64-bit values.
  target_compile_options(commonutilities_options INTERFACE -Wno-psabi)
endif()
if(COMMONUTILITIES_WERROR)
  target_compile_options(commonutilities_options INTERFACE -Werror)
endif()
if(COMMONUTILITIES_SANITIZE)
  target_compile_options(commonutilities_options INTERFACE
    -fsanitize=${COMMONUTILITIES_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(commonutilities_options INTERFACE -fsanitize=${COMMONUTILITIES_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    # A token has jsmn's name for its record where jsmn.h is used and jsonparser.h's elsewhere, which
    # clang tells apart when a callback is called.
    target_compile_options(commonutilities_options INTERFACE -fno-sanitize=function)
  endif()
  if(COMMONUTILITIES_SANITIZE MATCHES "fuzzer")
    target_compile_options(commonutilities_options INTERFACE
      -fsanitize-coverage-ignorelist=${PROJECT_SOURCE_DIR}/fuzz/not-followed.txt)
  endif()
endif()
# What the tests' programs are run with. A thread that is cancelled on a signal stack of its own is
# lost to AddressSanitizer, and an emulator does not let it look for leaks.
set(COMMONUTILITIES_ASAN_OPTIONS detect_stack_use_after_return=1:use_sigaltstack=0)
if(CMAKE_CROSSCOMPILING_EMULATOR)
  string(APPEND COMMONUTILITIES_ASAN_OPTIONS :detect_leaks=0)
endif()
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  # Counts of 32 bits can be more than there is room for, which calloc() refuses.
  string(APPEND COMMONUTILITIES_ASAN_OPTIONS :allocator_may_return_null=1)
endif()
if(COMMONUTILITIES_HARDEN)
  # _FORTIFY_SOURCE works in optimised builds alone, and glibc warns of it elsewhere: in Debug builds,
  # and in targets with the property CU_NOT_OPTIMISED. Of the libc calls that it replaces by checked
  # ones, the library makes none that a test lets fail.
  set(_optimised $<NOT:$<OR:$<CONFIG:Debug>,$<BOOL:$<TARGET_PROPERTY:CU_NOT_OPTIMISED>>>>)
  target_compile_options(commonutilities_options INTERFACE
    -fstack-protector-strong
    $<${_optimised}:-U_FORTIFY_SOURCE> $<${_optimised}:-D_FORTIFY_SOURCE=2>)
  if(NOT CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
    target_compile_options(commonutilities_options INTERFACE -fstack-clash-protection)
  endif()
  target_link_options(commonutilities_options INTERFACE LINKER:-z,relro,-z,now,-z,noexecstack)
endif()

# The library's sources see no C++ runtime: none is there when a daemon runs.
add_library(commonutilities_core INTERFACE)
target_link_libraries(commonutilities_core INTERFACE commonutilities_options)
target_compile_options(commonutilities_core INTERFACE
  -Wconversion
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics -fvisibility-inlines-hidden>
  -fvisibility=hidden -fno-semantic-interposition -ffunction-sections -fdata-sections)
target_compile_definitions(commonutilities_core INTERFACE _GNU_SOURCE)
if(COMMONUTILITIES_COVERAGE)
  # Several threads count, and the report finds the sources from any build folder.
  target_compile_options(commonutilities_core INTERFACE --coverage -fprofile-update=atomic
    $<$<OR:$<COMPILE_LANG_AND_ID:C,GNU>,$<COMPILE_LANG_AND_ID:CXX,GNU>>:-fprofile-abs-path>)
  target_link_options(commonutilities_options INTERFACE --coverage)
endif()
