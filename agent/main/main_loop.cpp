#include "agent/main/main_loop.h"

#include <sys/select.h>
#include <unistd.h>

#include <initializer_list>

#include "agent/base/clock.h"
#include "agent/base/log.h"
#include "agent/base/records.h"
#include "agent/base/store.h"
#include "agent/link/server.h"
#include "agent/local/local_server.h"
#include "agent/report/period_report.h"
#include "agent/report/registration.h"
#include "agent/rpc/dispatch.h"
#include "agent/rpc/response.h"
#include "agent/tasks/result_state.h"
#include "agent/tasks/schedule.h"
#include "agent/timer/timer.h"

int32_t g_lastInformInit;

namespace {

// The steps that need to know the time.
void run_due_steps() {
  nuvek_first_report(&g_devinfo);
  nuvek_default_report(&g_devinfo);
  nuvek_cycle_report(&g_devinfo);
  if (nuvek_get_RPCResultRes() != 0) {
    dispatch::add_missing_timer();
    return;
  }
  if (g_resultTimerId != 0) RemoveTimer(g_resultTimerId);
  nuvek_task_report(&g_devinfo, &g_server_Arg);
  nuvek_task_process(&g_devinfo, &g_server_Arg);
}

bool fits_select(int fd) {
  if (fd < FD_SETSIZE) return true;
  NUVEK_ERROR_AS("main", "descriptor %d too large for select", fd);
  return false;
}

bool is_ready(int fd, const fd_set& readable) { return fd >= 0 && fd < FD_SETSIZE && FD_ISSET(fd, &readable) != 0; }

}  // namespace

void nuvek_seed_lastInformTime() {
  if (g_lastInformInit != 0 || nuvek_check_timeSync() == 0) return;
  char last[16] = "";
  store::read("nuvek_Common", "LastInformTime", last);
  if (last[0] != '\0') return;
  curtime = wall_clock::now();
  store::write_number("nuvek_Common", "LastInformTime", curtime.sec);
  g_lastInformInit = 1;
}

void MainLoop::turn() {
  nuvek_seed_lastInformTime();
  timeval timeout{};
  nuvek_get_selectTimeout(&timeout);
  if (nuvek_check_timeSync() == 1) run_due_steps();

  if (listen_fd_ != -1 && !fits_select(listen_fd_)) {
    close(listen_fd_);
    listen_fd_ = -1;
  }
  int platform_fd = g_server_Arg.fd;
  if (platform_fd != -1 && !fits_select(platform_fd)) {
    nuvek_closeServer();
    platform_fd = -1;
  }
  fd_set readable;
  FD_ZERO(&readable);
  for (const int fd : {listen_fd_, platform_fd}) {
    if (fd == -1) continue;
    FD_SET(fd, &readable);
    if (fd > largest_fd_) largest_fd_ = fd;
  }
  if (select(largest_fd_ + 1, &readable, nullptr, nullptr, &timeout) < 1) return;
  if (is_ready(listen_fd_, readable)) nuvek_localProcess(listen_fd_);
  platform_fd = g_server_Arg.fd;
  if (is_ready(platform_fd, readable)) nuvek_serverProcess(platform_fd, &g_devinfo, &g_server_Arg);
}
