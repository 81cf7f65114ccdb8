// Owns one turn of the main loop: the steps that a synchronised clock allows, then the wait for the two sockets.
#ifndef NUVEK_AGENT_MAIN_MAIN_LOOP_H
#define NUVEK_AGENT_MAIN_MAIN_LOOP_H

class MainLoop {
 public:
  // `listen_fd` is the local server's listening socket, or -1 when there is none.
  explicit MainLoop(int listen_fd) : listen_fd_(listen_fd) {}

  // One turn; waits up to g_selectTimeoutSec.
  void turn();

 private:
  int listen_fd_;
  int largest_fd_ = -1;   // only grows
  int failed_waits_ = 0;  // one after the other
};

#endif
