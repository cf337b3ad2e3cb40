# Cross build for 32-bit x86 Linux (the product) from an x86-64 Debian host.
# Executables run under qemu-i386 because the host kernel may not execute
# 32-bit binaries.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_COMPILER gcc)
set(CMAKE_CXX_COMPILER g++)
set(CMAKE_C_FLAGS_INIT "-m32")
set(CMAKE_CXX_FLAGS_INIT "-m32")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-m32")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-m32")
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)
set(CMAKE_IGNORE_PATH /usr/lib/x86_64-linux-gnu /lib/x86_64-linux-gnu)
# Only the tests need it: a build of the library and the tool alone
# (KELVM_TESTS=OFF, KELVM_BENCH=OFF) configures without qemu.
find_program(QEMU_I386 qemu-i386)
if(QEMU_I386)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${QEMU_I386})
endif()
