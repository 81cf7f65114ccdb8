// Who wants to hear of exchanges and changes as they happen.
#ifndef NUVEK_DESK_EVENTS_H
#define NUVEK_DESK_EVENTS_H

#include <functional>
#include <set>
#include <string>

namespace desk {

class EventListener {
 public:
  virtual ~EventListener() = default;
  // There is one more exchange in the ring.
  virtual void on_exchange() = 0;
  // `data` is a JSON text.
  virtual void on_event(const char* name, const std::string& data) = 0;
};

class Events {
 public:
  void add(EventListener* listener) { listeners_.insert(listener); }
  void remove(EventListener* listener) { listeners_.erase(listener); }

  void exchange() {
    const auto all = listeners_;  // a listener may leave while it is told
    for (EventListener* listener : all) listener->on_exchange();
  }

  // `data` is made only when somebody listens.
  void tell(const char* name, const std::function<std::string()>& data) {
    if (listeners_.empty()) return;
    const std::string text = data();
    const auto all = listeners_;
    for (EventListener* listener : all) listener->on_event(name, text);
  }

 private:
  std::set<EventListener*> listeners_;
};

}  // namespace desk

#endif
