# Cross-compiling for 64-bit Windows with MinGW-w64's POSIX-threads compilers (the -win32 ones
# have no std::mutex or std::thread). Used by scripts/build-windows, for Lumeno and for the
# third-party libraries it builds; LUMENO_MINGW_PREFIX names the folder those were installed in.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(triplet x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${triplet}-gcc-posix)
set(CMAKE_CXX_COMPILER ${triplet}-g++-posix)
set(CMAKE_RC_COMPILER ${triplet}-windres)
set(CMAKE_AR ${triplet}-gcc-ar-posix)
set(CMAKE_RANLIB ${triplet}-gcc-ranlib-posix)

set(CMAKE_FIND_ROOT_PATH /usr/${triplet})
if(DEFINED ENV{LUMENO_MINGW_PREFIX})
  list(PREPEND CMAKE_FIND_ROOT_PATH $ENV{LUMENO_MINGW_PREFIX})
endif()
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Static libraries only: the binaries carry everything but the system's own DLLs.
set(CMAKE_FIND_LIBRARY_SUFFIXES .a)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
