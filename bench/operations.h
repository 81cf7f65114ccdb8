// What is measured: named operations, timed by one program run and counted, instruction by instruction, by another.
#ifndef NUVEK_BENCH_OPERATIONS_H
#define NUVEK_BENCH_OPERATIONS_H

#include <functional>
#include <string>
#include <vector>

struct Operation {
  std::string subject;  // what is done
  std::string by;       // who does it; "nuvek" is the one that the others are compared with
  std::function<void()> run;
};

// Each family of operations adds its own.
void add_md5(std::vector<Operation>& operations);
void add_json(std::vector<Operation>& operations);
void add_messages(std::vector<Operation>& operations);

// Cuts the agent off from the network and from sleeping, and gives it a provisioned store. To be called before
// anything.
void make_world();

// Lets the timer thread tick `count` times, between `begin` and `end`.
void run_ticks(int count, const std::function<void()>& begin, const std::function<void()>& end);

#endif
