// Owns the gateway's programs: starting one through the shell and asking whether one runs.
#ifndef NUVEK_AGENT_BASE_PROCESS_H
#define NUVEK_AGENT_BASE_PROCESS_H

namespace process {

// Runs a shell command to its end. Its result is nobody's business: a helper that cannot be started counts as started,
// its result is then empty, and the platform sees that.
void run(const char* command);

}  // namespace process

// Returns the process id of a running program, 0 when it does not run, -1 when that cannot be found out.
int nuvek_app_running(const char* program);

#endif
