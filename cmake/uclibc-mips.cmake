# Big-endian 32-bit MIPS with the uClibc-ng C library; script/bootstrap uclibc makes the toolchain. time_t has 32 bits.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mips)
get_filename_component(uclibc ${CMAKE_CURRENT_LIST_DIR}/../build/uclibc-toolchain/bin/mips-linux-uclibc ABSOLUTE)
set(CMAKE_C_COMPILER ${uclibc}-cc)
set(CMAKE_CXX_COMPILER ${uclibc}-c++)
foreach(language "" C_COMPILER_ CXX_COMPILER_)
  set(CMAKE_${language}AR mips-linux-gnu-gcc-ar)
  set(CMAKE_${language}RANLIB mips-linux-gnu-gcc-ranlib)
endforeach()
# Its loader does not know $ORIGIN.
set(CMAKE_CROSSCOMPILING_EMULATOR ${uclibc}-run -E LD_LIBRARY_PATH=${CMAKE_BINARY_DIR}/lib)
