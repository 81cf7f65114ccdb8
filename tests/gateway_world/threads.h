// The thread that the agent has begun where its test is in the same process: kept, to run when the test calls it.
#ifndef NUVEK_TESTS_GATEWAY_WORLD_THREADS_H
#define NUVEK_TESTS_GATEWAY_WORLD_THREADS_H

namespace threads {

void run_kept();

}  // namespace threads

#endif
