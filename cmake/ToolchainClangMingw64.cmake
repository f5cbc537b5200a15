# A second compiler for the same program: clang with the headers, libraries and linker of Debian's MinGW-w64 (posix
# thread flavour). What is shipped comes from ToolchainMingw64.cmake.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)

set(CMAKE_C_COMPILER clang-14)
set(CMAKE_CXX_COMPILER clang++-14)
set(CMAKE_C_COMPILER_TARGET x86_64-w64-mingw32)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-mingw32)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
foreach(tool AR RANLIB STRIP OBJCOPY)
    string(TOLOWER ${tool} name)
    set(CMAKE_${tool} /usr/bin/x86_64-w64-mingw32-${name})
endforeach()

execute_process(COMMAND x86_64-w64-mingw32-gcc-posix -print-libgcc-file-name
    OUTPUT_VARIABLE libgcc OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
get_filename_component(gcc_folder ${libgcc} DIRECTORY)
set(system /usr/x86_64-w64-mingw32)

# Left alone, clang reads /usr/include, the native C library, and does not find GCC's folders, whose version has the
# thread flavour in it. libstdc++ is compiled for emulated thread-local variables.
set(headers "-nostdlibinc -idirafter ${system}/include -femulated-tls")
set(CMAKE_C_FLAGS_INIT "${headers}")
set(CMAKE_CXX_FLAGS_INIT "-isystem ${gcc_folder}/include/c++ -isystem ${gcc_folder}/include/c++/x86_64-w64-mingw32 ${headers}")
# Both libstdc++ and its headers define type_info::operator==, which only GNU's linker puts up with.
set(linker "-Wl,--allow-multiple-definition -Wno-unused-command-line-argument")
foreach(kind EXE SHARED MODULE)
    set(CMAKE_${kind}_LINKER_FLAGS_INIT "-B${gcc_folder} -B${system}/lib -L${gcc_folder} -pthread -fuse-ld=lld-14 ${linker}")
endforeach()

set(CMAKE_FIND_ROOT_PATH ${system})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR /usr/lib/wine/wine64)
