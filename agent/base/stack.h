// Owns what a thread's stack keeps of the machine's memory.
#ifndef NUVEK_AGENT_BASE_STACK_H
#define NUVEK_AGENT_BASE_STACK_H

namespace stack {

// Gives 16 KiB of the pages below the caller's back to the system. For after a call that went deep and is rare: the
// process would hold them for ever. The stack must have 2 KiB, a page and 16 KiB left. Where a page is longer than 16
// KiB nothing happens.
void give_back();

}  // namespace stack

#endif
