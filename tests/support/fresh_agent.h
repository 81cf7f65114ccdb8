// Makes the agent's code in a test's process one that has never run, as far as anything of it can be seen.
#ifndef NUVEK_TESTS_SUPPORT_FRESH_AGENT_H
#define NUVEK_TESTS_SUPPORT_FRESH_AGENT_H

// Zeroes its records, clears its switches and stamps. A connection is forgotten, not closed; timers stay.
void reset_agent();

#endif
