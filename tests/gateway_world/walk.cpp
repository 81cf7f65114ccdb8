#include "walk.h"

#include <cerrno>
#include <csignal>

#include "control.h"
#include "faults.h"
#include "record.h"
#include "world.h"

namespace {

enum Then : uint32_t { kFailOn = 1, kDie = 2 };

}  // namespace

int walk::fails(Group group, const char* name, std::initializer_list<int> errors) {
  if (!world::is(world::Kind::step) || faults::is_aside()) return 0;
  if ((control::read(control::walk_groups) & group) == 0) return 0;
  control::count(control::walk_calls);
  const uint32_t left = control::read(control::walk_call);
  if (left == 0) return 0;
  if (left > 1) {
    control::write(control::walk_call, left - 1);
    return 0;
  }
  const uint32_t then = control::read(control::walk_then);
  if (then == kDie) {
    record_call("dies ahead of %s", name);
    raise(SIGKILL);
  }
  const bool for_ever = then == kFailOn;
  if (!for_ever) control::write(control::walk_call, 0);
  const size_t wanted = control::read(control::walk_error) % errors.size();
  int error = errors.begin()[wanted];
  if (for_ever && error == EINTR) error = EIO;
  if (control::read(control::walk_struck) == 0) {
    control::write(control::walk_errors, static_cast<uint32_t>(errors.size()));
    record_call("fails %s %d", name, error);
  }
  control::count(control::walk_struck);
  return error;
}

bool walk::fails_with_errno(Group group, const char* name, std::initializer_list<int> errors) {
  const int error = fails(group, name, errors);
  if (error != 0) errno = error;
  return error != 0;
}
