# Builds for the television's processor, 32-bit x86, with the machine's own compiler and the packages
# that scripts/i386-sysroot has unpacked. What is built runs in place, on this machine.

# Found once: a later run of CMake may have another environment. The configuration checks read this
# file too, each in a project of its own.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES T8_I386_SYSROOT)
if(NOT T8_I386_SYSROOT)
    execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/../scripts/i386-sysroot --where
        OUTPUT_VARIABLE where OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    set(T8_I386_SYSROOT ${where} CACHE PATH "Folder that scripts/i386-sysroot has made")
endif()
file(GLOB startFiles ${T8_I386_SYSROOT}/usr/lib/gcc/i686-linux-gnu/*)
list(LENGTH startFiles versions)
if(NOT versions EQUAL 1)
    set(where ${T8_I386_SYSROOT})
    unset(T8_I386_SYSROOT CACHE)
    message(FATAL_ERROR "${where} is not there or not complete: run scripts/i386-sysroot")
endif()
cmake_path(GET startFiles FILENAME version)

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_SYSROOT ${T8_I386_SYSROOT})
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)
set(CMAKE_INSTALL_LIBDIR lib CACHE PATH "Libraries of this architecture alone, so no subfolder")

set(standardLibrary ${CMAKE_SYSROOT}/usr/include)
set(CMAKE_CXX_COMPILER g++)
string(JOIN " " CMAKE_CXX_FLAGS_INIT
    -m32 -B${startFiles} -nostdinc++
    -isystem ${standardLibrary}/c++/${version}
    -isystem ${standardLibrary}/i386-linux-gnu/c++/${version})

# A program finds the sysroot's libraries for itself and for those that it loads. DT_RPATH does that;
# DT_RUNPATH, in a program or in a library, holds for its own needs alone.
foreach(kind IN ITEMS EXE SHARED MODULE)
    set(CMAKE_${kind}_LINKER_FLAGS_INIT "-L${startFiles} -Wl,--disable-new-dtags")
endforeach()
string(JOIN " " CMAKE_EXE_LINKER_FLAGS_INIT ${CMAKE_EXE_LINKER_FLAGS_INIT}
    -Wl,--dynamic-linker,${CMAKE_SYSROOT}/lib/ld-linux.so.2
    -Wl,-rpath,${CMAKE_SYSROOT}/usr/lib/i386-linux-gnu:${CMAKE_SYSROOT}/lib/i386-linux-gnu)

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR}
    ${CMAKE_SYSROOT}/usr/lib/i386-linux-gnu/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig)
