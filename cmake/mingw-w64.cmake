# Cross build for 64-bit Windows with Debian's mingw-w64 (POSIX threads), tested under Wine.
# scripts/build windows uses it; the libraries built for Windows (GoogleTest, SQLite) and the
# header-only ones are looked up only in MARLINDEX_WINDOWS_DEPS, never in the host's /usr.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(triple x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${triple}-gcc-posix)
set(CMAKE_CXX_COMPILER ${triple}-g++-posix)
set(CMAKE_RC_COMPILER ${triple}-windres)

# try_compile projects see the same dependency folder.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES MARLINDEX_WINDOWS_DEPS)
set(CMAKE_FIND_ROOT_PATH /usr/${triple} ${MARLINDEX_WINDOWS_DEPS})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# One self-contained .exe: no compiler runtime DLLs to ship beside it or to find under Wine.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")

# Test programs run under Wine through cmake/wine-run, in a prefix inside the build folder.
set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/wine-run;${CMAKE_BINARY_DIR}/wine")
