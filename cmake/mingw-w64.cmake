# Builds for 64-bit Windows on Debian: MinGW-w64 with POSIX threads, and what scripts/windows-sysroot has made in build/sysroot.
# Nothing of the system's own headers and libraries is found.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(prefix x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${prefix}-gcc-posix)
set(CMAKE_CXX_COMPILER ${prefix}-g++-posix)
set(CMAKE_RC_COMPILER ${prefix}-windres)

set(ZAM_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/sysroot)
set(CMAKE_FIND_ROOT_PATH ${ZAM_SYSROOT} /usr/${prefix})
set(CMAKE_DISABLE_FIND_PACKAGE_PkgConfig ON)  # on Windows there is none
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
foreach(kind LIBRARY INCLUDE PACKAGE)
  set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()

set(ZLIB_USE_STATIC_LIBS ON)

# one file each: no run-time libraries of the compiler beside them
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
set(CMAKE_SHARED_LINKER_FLAGS_INIT -static)
# GCC 12 warns of overlaps in std::string's own code there, where none can be
# GCC's stack frames there hold vectors of 32 and 64 bytes at places of 16 (GCC bug 54412)
set(CMAKE_CXX_FLAGS_INIT "-Wno-restrict -Wa,-muse-unaligned-vector-move")

set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine)
