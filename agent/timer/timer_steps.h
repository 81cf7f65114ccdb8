// What the timer service offers that the agent does not use, and its steps, for tests.
#ifndef NUVEK_AGENT_TIMER_TIMER_STEPS_H
#define NUVEK_AGENT_TIMER_TIMER_STEPS_H

#include "agent/timer/timer.h"

// Asks the thread to end within a tick; it frees all timers. Adds and removes fail from now on.
void timer_stop();

// The same with a first delay of its own, in ms, which may be 0.
int AddDelayTimer(const char* name, uint32_t delay, uint32_t interval, TimerCallback callback, void* arg,
                  int32_t periodic);

// AddTimer for a caller that holds the service's lock: a callback.
int AddTimer_tmp(const char* name, uint32_t interval, TimerCallback callback, void* arg, int32_t periodic)
    REQUIRES(g_timerList.p_timer_mutex);

// Takes the lowest free identifier and returns its index 0 to 15, or -1 when all are taken.
int findTimerID() REQUIRES(g_timerList.p_timer_mutex);

// Moves all timers by a step of the clock of 60 s or more between two ticks.
void checkCPETimeChange(int32_t now_sec, int32_t now_usec, int32_t last_sec, int32_t last_usec)
    REQUIRES(g_timerList.p_timer_mutex);

#endif
