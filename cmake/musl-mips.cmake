# Big-endian 32-bit MIPS with the musl C library; script/bootstrap musl makes the toolchain. time_t has 64 bits.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mips)
get_filename_component(musl ${CMAKE_CURRENT_LIST_DIR}/../build/musl-toolchain/bin/mips-linux-musl ABSOLUTE)
set(CMAKE_C_COMPILER ${musl}-cc)
set(CMAKE_CXX_COMPILER ${musl}-c++)
set(CMAKE_AR ${musl}-ar)
set(CMAKE_RANLIB ${musl}-ranlib)
set(CMAKE_CROSSCOMPILING_EMULATOR ${musl}-run)
