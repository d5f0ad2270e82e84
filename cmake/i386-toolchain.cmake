# 32-bit x86 Linux with Debian's cross compilers: the word size of the target at the speed of the
# host, which runs the programs itself with the cross compiler's libc.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)

set(CMAKE_C_COMPILER i686-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER i686-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE i686-linux-gnu)
set(CMAKE_FIND_ROOT_PATH /usr/i686-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)

# The x87 unit would compute with 80 bits, unlike the target.
set(CMAKE_C_FLAGS_INIT "-msse2 -mfpmath=sse")
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse")

# The older kind of run-time path also leads to the libraries that the libraries need.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,--dynamic-linker=/usr/i686-linux-gnu/lib/ld-linux.so.2 -Wl,--disable-new-dtags -Wl,-rpath,/usr/i686-linux-gnu/lib")
