# x86-64 with the musl C library; script/bootstrap musl makes the toolchain. time_t has 64 bits.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
get_filename_component(musl ${CMAKE_CURRENT_LIST_DIR}/../build/musl-toolchain/bin/x86_64-linux-musl ABSOLUTE)
set(CMAKE_C_COMPILER ${musl}-cc)
set(CMAKE_CXX_COMPILER ${musl}-c++)
set(CMAKE_AR ${musl}-ar)
set(CMAKE_RANLIB ${musl}-ranlib)
set(CMAKE_CROSSCOMPILING_EMULATOR ${musl}-run)
