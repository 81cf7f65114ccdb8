// Where a place of the program's code has its table for exceptions: the compiler's library asks glibc so, and uClibc
// only knows how to walk all that is loaded. The record is the one of glibc for MIPS.
#define _GNU_SOURCE
#include <link.h>
#include <stddef.h>

struct object {
  unsigned long long flags;
  void* start;
  void* end;
  void* link_map;
  void* exception_table;
  unsigned long long reserved[7];
};

struct search {
  ElfW(Addr) place;
  struct object* found;
};

static int look_into(struct dl_phdr_info* info, size_t size, void* argument) {
  const struct search* search = argument;
  int inside = 0;
  (void)size;
  search->found->exception_table = NULL;
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    const ElfW(Phdr)* part = &info->dlpi_phdr[i];
    const ElfW(Addr) start = info->dlpi_addr + part->p_vaddr;
    if (part->p_type == PT_LOAD && search->place - start < part->p_memsz) inside = 1;
    if (part->p_type == PT_GNU_EH_FRAME) search->found->exception_table = (void*)start;
  }
  return inside;
}

__attribute__((visibility("hidden"))) int _dl_find_object(void* place, struct object* found) {
  struct search search = {(ElfW(Addr))place, found};
  return dl_iterate_phdr(look_into, &search) && found->exception_table ? 0 : -1;
}
