#pragma once
// Threads that write to disk (the historian, the recorder) are woken by the GUI thread, which
// serves the links. On a machine with few cores a freshly woken thread may take the core of the
// thread that woke it at once, and a frame due in that moment waits for a whole transaction.
// Marked as batch work, such a thread keeps its full share of the processor but never takes a
// core from a running thread when it wakes.
#ifdef __linux__
#include <sched.h>
#endif

namespace tarvek {

// For the calling thread; where the system knows no such mark, nothing changes.
inline void markAsBackgroundWork()
{
#ifdef __linux__
    const sched_param none{};
    sched_setscheduler(0, SCHED_BATCH, &none);
#endif
}

} // namespace tarvek
