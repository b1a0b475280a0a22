"""Times when the machine stood still: no process of a core ran, as on a shared host that is short of processors."""

import collections
import os
import threading
import time

SLEEP_SECONDS = 0.004
NOTICED_SECONDS = 0.004  # a thread that wakes up this much late has been held up
KEPT_STALLS = 2000  # by core; a search is over long before that many


class Core:
    """What one watching thread has seen. `due` is when it is to wake up next."""

    def __init__(self, now):
        self.due = now + SLEEP_SECONDS
        self.stalls = collections.deque(maxlen=KEPT_STALLS)  # (from, to)

    def note(self, now):
        """The thread woke up."""
        if now - self.due >= NOTICED_SECONDS:
            self.stalls.append((self.due, now))
        self.due = now + SLEEP_SECONDS

    def stood_still(self, start, end):
        """Seconds of the time from start to end in which the core stood still, a stall that still goes on included."""
        stalls = list(self.stalls)
        if end - self.due >= NOTICED_SECONDS:
            stalls.append((self.due, end))
        return sum(max(0.0, min(end, to) - max(start, since)) for since, to in stalls)


class StallWatch:
    """A thread on each core that sleeps a few milliseconds at a time and notes when it woke up late.

    It also notes a wait for other programs, when there are more of them than cores."""

    def __init__(self):
        self.cores = []
        self.is_over = False
        numbers = sorted(os.sched_getaffinity(0)) if hasattr(os, "sched_getaffinity") else [None]
        for number in numbers:
            core = Core(time.perf_counter())
            self.cores.append(core)
            threading.Thread(target=self.watch, args=(core, number), daemon=True).start()

    def watch(self, core, number):
        if number is not None:
            os.sched_setaffinity(0, {number})  # of this thread alone
        while not self.is_over:
            core.note(time.perf_counter())
            time.sleep(SLEEP_SECONDS)

    def stood_still(self, start, end):
        """Seconds from start to end (time.perf_counter()) in which some core stood still; the longest of the cores."""
        return max(core.stood_still(start, end) for core in self.cores)

    def close(self):
        self.is_over = True
