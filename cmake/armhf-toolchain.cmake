# Cross build for the device: 32-bit ARM hard-float with Debian's cross
# compiler (g++-arm-linux-gnueabihf). Boost, GoogleTest and nlohmann-json come
# from Debian's armhf packages unpacked into a sysroot by scripts/armhf-sysroot
# (default build/armhf-sysroot; set VELARND_ARMHF_SYSROOT to use another).
# Test executables run under qemu-arm: CMake's emulator setting makes both
# the test discovery and ctest go through it.
#
#   scripts/armhf-sysroot
#   cmake -S . -B build/armhf -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/armhf-toolchain.cmake
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
# GCC notes at every std::vector instance that GCC 7.1 changed how ARM passes
# some arguments; all our code is built by one compiler, so it can't matter.
set(CMAKE_CXX_FLAGS_INIT "-Wno-psabi")

if(DEFINED ENV{VELARND_ARMHF_SYSROOT})
  set(VELARND_ARMHF_SYSROOT "$ENV{VELARND_ARMHF_SYSROOT}")
else()
  get_filename_component(VELARND_ARMHF_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../build/armhf-sysroot" ABSOLUTE)
endif()
if(NOT EXISTS "${VELARND_ARMHF_SYSROOT}/usr/include/boost")
  message(FATAL_ERROR "no armhf sysroot at ${VELARND_ARMHF_SYSROOT}: run scripts/armhf-sysroot first")
endif()
set(velarnd_armhf_libdir "${VELARND_ARMHF_SYSROOT}/usr/lib/arm-linux-gnueabihf")

# Libraries, headers and CMake packages only from the sysroot and the cross
# compiler's own folder; programs (scdoc, the emulator) from the machine.
set(CMAKE_FIND_ROOT_PATH "${VELARND_ARMHF_SYSROOT}" /usr/arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The unpacked libraries aren't in the linker's search path, and those they
# need in turn (libboost_thread needs libboost_atomic...) must be found too.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,${velarnd_armhf_libdir}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-Wl,-rpath-link,${velarnd_armhf_libdir}")

# qemu-arm finds the dynamic loader and the C and C++ runtime under the cross
# compiler's folder, and Boost through the guest's library path.
find_program(VELARND_QEMU_ARM qemu-arm)
if(VELARND_QEMU_ARM)
  set(CMAKE_CROSSCOMPILING_EMULATOR
      "${VELARND_QEMU_ARM};-L;/usr/arm-linux-gnueabihf;-E;LD_LIBRARY_PATH=${velarnd_armhf_libdir}")
endif()
