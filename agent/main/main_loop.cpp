#include "agent/main/main_loop.h"

#include <sys/select.h>
#include <unistd.h>

#include <cerrno>
#include <initializer_list>

#include "agent/base/clock.h"
#include "agent/base/log.h"
#include "agent/base/records.h"
#include "agent/link/connection.h"
#include "agent/local/local_server.h"
#include "agent/report/period_report.h"
#include "agent/report/registration.h"
#include "agent/rpc/response.h"
#include "agent/tasks/back_off.h"
#include "agent/tasks/schedule.h"

namespace {

// What a turn lasts at least once the wait has failed for a while, so that one that fails for ever makes no storm.
// Shorter than a second, which is more than some systems sleep this way.
constexpr useconds_t kPause_us = 500000;
constexpr int kFailuresWithoutPause = 3;

// The steps that need to know the time.
void run_due_steps() {
  nuvek_first_report(&g_devinfo);
  nuvek_default_report(&g_devinfo);
  nuvek_cycle_report(&g_devinfo);
  if (!back_off::tasks_may_run()) return;
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

void MainLoop::turn() {
  nuvek_seed_lastInformTime();
  timeval timeout{};
  nuvek_get_selectTimeout(&timeout);
  if (nuvek_check_timeSync() == 1) run_due_steps();

  if (listen_fd_ != -1 && !fits_select(listen_fd_)) {
    close(listen_fd_);
    listen_fd_ = -1;
  }
  int platform_fd = g_connection.descriptor();
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
  const int ready = select(largest_fd_ + 1, &readable, nullptr, nullptr, &timeout);
  failed_waits_ = ready == -1 && errno != EINTR ? failed_waits_ + 1 : 0;
  if (failed_waits_ > kFailuresWithoutPause) usleep(kPause_us);
  if (ready < 1) return;
  if (is_ready(listen_fd_, readable)) nuvek_localProcess(listen_fd_);
  if (is_ready(g_connection.descriptor(), readable)) nuvek_serverProcess(g_connection, &g_devinfo, &g_server_Arg);
}
