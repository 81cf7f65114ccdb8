// Owns what a thread's stack keeps of the machine's memory.
#ifndef NUVEK_AGENT_BASE_STACK_H
#define NUVEK_AGENT_BASE_STACK_H

namespace stack {

// Gives the pages below the caller's back to the system, up to 16 KiB. For after a call that went deep and is rare: the
// process would hold them for ever. Where a page is longer than 4 KiB it may do nothing.
void give_back();

}  // namespace stack

#endif
