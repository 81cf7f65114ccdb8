# What every piece of code that runs on a gateway is built with: no exceptions, no run-time types, no C++ runtime library,
# hardened, and without a warning.
find_package(Threads REQUIRED)

add_library(nuvek_warnings INTERFACE)
target_compile_options(nuvek_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wformat=2 -Wnull-dereference -Werror)
# uClibc's macros for sets of descriptors mix signed and unsigned numbers, and the compiler takes that for ours.
include(CheckCXXSymbolExists)
check_cxx_symbol_exists(__UCLIBC__ features.h NUVEK_WITH_UCLIBC)
if(NUVEK_WITH_UCLIBC)
  target_compile_options(nuvek_warnings INTERFACE -Wno-sign-conversion)
endif()

add_library(nuvek_device_code INTERFACE)
target_link_libraries(nuvek_device_code INTERFACE nuvek_warnings)
target_include_directories(nuvek_device_code INTERFACE ${CMAKE_SOURCE_DIR})
target_compile_options(nuvek_device_code INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>
  # What each lock guards is annotated (agent/base/lock.h).
  $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wthread-safety>
  # No path of the machine that built it, so that the same sources give the same bytes everywhere.
  -ffile-prefix-map=${CMAKE_SOURCE_DIR}/=
  # A per cent and a half of a gateway's program: on MIPS what is moved out of a loop needs saved registers in most functions;
  # equal tables and texts are kept once.
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<STREQUAL:${CMAKE_SYSTEM_PROCESSOR},mips>>:-fno-move-loop-invariants>
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<STREQUAL:${CMAKE_SYSTEM_PROCESSOR},mips>>:-fno-guess-branch-probability>
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<STREQUAL:${CMAKE_SYSTEM_PROCESSOR},mips>>:-fmerge-all-constants>
  -fno-strict-aliasing -ffunction-sections -fdata-sections -fstack-protector-strong
  $<$<CONFIG:Release,MinSizeRel>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fno-asynchronous-unwind-tables>)
target_link_options(nuvek_device_code INTERFACE
  -Wl,--gc-sections -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,--enable-new-dtags -Wl,--as-needed
  -Wl,-z,max-page-size=4096)

# The C driver links the program, so that no C++ runtime library can come in unnoticed.
function(nuvek_link_without_cxx_runtime target)
  set_target_properties(${target} PROPERTIES LINKER_LANGUAGE C)
  get_target_property(kind ${target} TYPE)
  if(kind STREQUAL "EXECUTABLE")
    target_link_options(${target} PRIVATE -pie)
  else()
    target_link_options(${target} PRIVATE -Wl,--no-undefined)
  endif()
endfunction()

# Sanitizer runtimes are C++ and leave symbols to the loader: there the C++ driver links.
if(CMAKE_CXX_FLAGS MATCHES "-fsanitize|--coverage")
  function(nuvek_link_without_cxx_runtime target)
    set_target_properties(${target} PROPERTIES LINKER_LANGUAGE CXX)
  endfunction()
endif()

# The shipped program is optimised as one piece, which a gateway's flash needs. The objects keep their ordinary code too:
# the tests link that (with -fno-lto). Other compilers than GCC have no objects of both kinds: there it is left out.
function(nuvek_optimise_whole_program)
  if(CMAKE_BUILD_TYPE MATCHES "^(Release|MinSizeRel)$" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    set_target_properties(${ARGN} PROPERTIES INTERPROCEDURAL_OPTIMIZATION ON)
    foreach(target IN LISTS ARGN)
      target_compile_options(${target} PRIVATE -ffat-lto-objects)
    endforeach()
  endif()
endfunction()
