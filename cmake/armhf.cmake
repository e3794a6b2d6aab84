# The NAS's processor: 32-bit ARM with hardware floating point, through the distribution's cross compiler. The libraries are
# those of the distribution's armhf packages, or of a folder where they were unpacked: -DHARBEX_ARMHF_ROOT=DIR.
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES HARBEX_ARMHF_ROOT)
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(ENV{PKG_CONFIG_LIBDIR} ${HARBEX_ARMHF_ROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/pkgconfig)
# Notes about compilers of ten years ago; every part is built by this one.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
if(HARBEX_ARMHF_ROOT)
    set(ENV{PKG_CONFIG_SYSROOT_DIR} ${HARBEX_ARMHF_ROOT})
    string(APPEND CMAKE_CXX_FLAGS_INIT " -isystem ${HARBEX_ARMHF_ROOT}/usr/include/${CMAKE_LIBRARY_ARCHITECTURE}")
    foreach(folder usr/lib lib)
        set(libraries ${HARBEX_ARMHF_ROOT}/${folder}/${CMAKE_LIBRARY_ARCHITECTURE})
        string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT " -L${libraries} -Wl,-rpath-link,${libraries}")
    endforeach()
endif()
